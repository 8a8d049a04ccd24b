#include "Pty.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

int millisecondsUntil(steady_clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    return static_cast<int>(std::max<milliseconds::rep>(left.count(), 0));
}

// The conditions that hold; 0 when the deadline passes first. POLLHUP and POLLERR come unasked.
int pollUntil(int fd, short events, steady_clock::time_point deadline) {
    for (;;) {
        pollfd entry{fd, events, 0};
        const int count = ::poll(&entry, 1, millisecondsUntil(deadline));
        if (count > 0) return entry.revents;
        if (count == 0) return 0;
        if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll of a pty master");
    }
}

bool mayComeLater(int error) {
    return error == EAGAIN || error == EINTR;
}

constexpr std::size_t terminalHolds = 4096; // the kernel gives no more at once

} // namespace

Pty::Pty() {
    fd = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    std::array<char, 128> name{};
    termios settings{};
    // On Linux the master's settings are the slave's, so the line is raw before anybody opens it.
    const bool made = fd >= 0 && ::grantpt(fd) == 0 && ::unlockpt(fd) == 0 &&
                      ::ptsname_r(fd, name.data(), name.size()) == 0 && ::tcgetattr(fd, &settings) == 0;
    if (made) ::cfmakeraw(&settings);
    if (!made || ::tcsetattr(fd, TCSANOW, &settings) != 0) {
        const int error = errno;
        close();
        throw std::system_error(error, std::generic_category(), "no pseudo terminal");
    }
    path = name.data();
}

Pty::~Pty() {
    close();
}

void Pty::close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
}

bool Pty::write(const Bytes& bytes, milliseconds limit) {
    const auto deadline = steady_clock::now() + limit;
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::write(fd, bytes.data() + sent, bytes.size() - sent);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
            continue;
        }
        if (count < 0 && !mayComeLater(errno)) return false;
        if ((pollUntil(fd, POLLOUT, deadline) & POLLOUT) == 0) return false;
    }
    return true;
}

bool Pty::write(const std::string& text, milliseconds limit) {
    return write(Bytes(text.begin(), text.end()), limit);
}

Pty::Bytes Pty::read(std::size_t size, milliseconds limit) {
    const auto deadline = steady_clock::now() + limit;
    Bytes result;
    while (result.size() < size) {
        unsigned char some[terminalHolds]; // without a value: a sanitizer would see each byte of `size` written
        const ssize_t count = ::read(fd, some, std::min(sizeof some, size - result.size()));
        if (count > 0) {
            result.insert(result.end(), some, some + count);
            continue;
        }
        if (count == 0 || !mayComeLater(errno)) break; // EIO: nobody has the slave open any more
        if (pollUntil(fd, POLLIN, deadline) == 0) break;
    }
    return result;
}

Pty::Bytes Pty::readAvailable(std::size_t size) {
    return read(size, milliseconds(0));
}

bool Pty::waitReadable(milliseconds limit) const {
    return (pollUntil(fd, POLLIN, steady_clock::now() + limit) & POLLIN) != 0;
}

bool Pty::waitHungUp(milliseconds limit) const {
    return (pollUntil(fd, 0, steady_clock::now() + limit) & POLLHUP) != 0;
}
