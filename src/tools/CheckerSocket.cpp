#include "CheckerSocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <stdexcept>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <terminal/SystemError.h>

using hostcheck::Time;

namespace {

constexpr size_t bytesAtATime = 4096;

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw std::invalid_argument("the path of a socket is too long: " + path);
    path.copy(static_cast<char*>(address.sun_path), path.size());
    return address;
}

} // namespace

bool SocketPort::isSocket(const std::string& device) {
    struct stat found {};
    return ::stat(device.c_str(), &found) == 0 && S_ISSOCK(found.st_mode);
}

SocketPort::SocketPort(const HostcheckOptions& checkOptions)
    : CheckerPort(checkOptions.clock),
      options(checkOptions),
      line(checked(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "no socket")) {
    const sockaddr_un address = addressOf(options.device);
    // The family's own structure is handed over as any family's.
    checked(::connect(line.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
            "cannot connect to " + options.device);
}

void SocketPort::send(const ByteArray& bytes) {
    Interruption::check();
    const Time due = ownDelays.dueAfter(lineTime(bytes.size()));
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(line.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) throw hostcheck::LineLost("cannot write to the socket");
        sent += static_cast<size_t>(count);
    }
    ownDelays.noteOver(due);
}

// Whether the time is over is asked before it is looked whether something has come.
ByteArray SocketPort::receive(Time until) {
    while (true) {
        Interruption::check();
        const Time left = until - now();
        const Time span = std::clamp(left, Time(0), Interruption::within);
        const Time due = ownDelays.dueAfter(span);
        pollfd entry{line.get(), POLLIN, 0};
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(span);
        const int ready = ::poll(&entry, 1, static_cast<int>(wait.count()));
        if (ready < 0 && errno != EINTR) throwSystemError("cannot wait for the socket");
        ownDelays.noteOver(due);
        if (ready > 0) break;
        if (left <= Time(0)) return {};
    }
    std::array<unsigned char, bytesAtATime> bytes{};
    const ssize_t count = ::recv(line.get(), bytes.data(), bytes.size(), 0);
    if (count <= 0) throw hostcheck::LineLost("the other end of the socket is gone");
    return ByteArray(bytes.begin(), bytes.begin() + count);
}
