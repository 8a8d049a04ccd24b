/// @file
/// A descriptor that wakes who polls it.
#pragma once

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

namespace hostlink {

/// Readable from `set` to `clear`. Any thread.
class WakeEvent {
public:
    /// @throw std::system_error no descriptor to be had
    WakeEvent() : fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (fd < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    WakeEvent(const WakeEvent&) = delete;
    WakeEvent& operator=(const WakeEvent&) = delete;
    ~WakeEvent() { ::close(fd); }

    int descriptor() const { return fd; }
    void set() const {
        const uint64_t one = 1;
        // A wake-up that got lost would be missed for ever. Full is awake too.
        for (int tries = 0; tries < mostTries; ++tries)
            if (::write(fd, &one, sizeof one) == sizeof one || errno == EAGAIN) return;
    }
    void clear() const {
        uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = ::read(fd, &count, sizeof count);
    }

private:
    static constexpr int mostTries = 3;

    const int fd;
};

} // namespace hostlink
