/// @file
/// Ownership of a file descriptor, and the one loop around interrupted system calls.
#pragma once

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace descriptor {

/// Owns one descriptor or none (-1) and closes it in the end.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int owned) : fd(owned) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            fd = std::exchange(other.fd, -1);
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return fd; }
    /// Hands the descriptor over: it is closed elsewhere.
    int release() { return std::exchange(fd, -1); }
    explicit operator bool() const { return fd >= 0; }

    /// Whatever `close` answers, Linux has released the number: a second attempt could hit another thread's descriptor.
    void reset() {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }

private:
    int fd = -1;
};

/// Makes a system call again for as long as a signal interrupts it; the result and errno are those of the last call.
template <typename Call> auto repeatInterrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

} // namespace descriptor
