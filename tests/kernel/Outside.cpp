#include "Outside.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "serialcomm/Descriptor.h"

namespace {

using serialcomm::Descriptor;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds patience{40}; // less than the watchdog's

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

/// One line, without its end.
std::string readLine(int fd) {
    const auto deadline = Clock::now() + patience;
    std::string line;
    for (char byte = 0; byte != '\n';) {
        pollfd waits{fd, POLLIN, 0};
        if (::poll(&waits, 1, millisecondsUntil(deadline)) != 1) throw std::runtime_error("nobody answers outside");
        const ssize_t count = ::read(fd, &byte, 1);
        if (count < 0) throw std::runtime_error(std::string("/dev/outside: ") + strerror(errno));
        if (count == 1 && byte != '\n') line += byte;
    }
    return line;
}

bool isThere(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

/// Looks again at each change in the folder.
bool becomes(const std::string& path, bool there) {
    const auto deadline = Clock::now() + patience;
    const Descriptor changes(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    const std::string folder = path.substr(0, path.rfind('/'));
    if (::inotify_add_watch(changes.get(), folder.c_str(), IN_CREATE | IN_DELETE) < 0) return false;
    while (isThere(path) != there) {
        pollfd waits{changes.get(), POLLIN, 0};
        if (::poll(&waits, 1, millisecondsUntil(deadline)) != 1) return isThere(path) == there;
        char events[4096];
        while (::read(changes.get(), events, sizeof events) > 0) {
        }
    }
    return true;
}

} // namespace

std::string portPath(const std::string& name) {
    std::string variable = "ZENT_PORT_" + name;
    std::transform(variable.begin(), variable.end(), variable.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    const char* path = std::getenv(variable.c_str());
    if (path == nullptr) throw std::runtime_error("not in a guest: there is no " + variable);
    return path;
}

std::string askOutside(const std::string& request) {
    const Descriptor outside(::open("/dev/outside", O_RDWR | O_CLOEXEC));
    const std::string line = request + "\n";
    if (::write(outside.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error(std::string("/dev/outside: ") + strerror(errno));
    }
    const std::string answer = readLine(outside.get());
    if (answer.compare(0, 2, "ok") != 0) throw std::runtime_error(request + ": " + answer);
    return answer.size() > 3 ? answer.substr(3) : "";
}

HostOutside::~HostOutside() {
    try {
        askOutside("hostsim-stop " + port);
    } catch (const std::exception& reason) {
        std::cerr << "the host outside does not end: " << reason.what() << '\n';
    }
}

bool appears(const std::string& path) {
    return becomes(path, true);
}

bool disappears(const std::string& path) {
    return becomes(path, false);
}
