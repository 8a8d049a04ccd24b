/// @file
/// A file descriptor that closes itself.
#pragma once

#include <utility>

#include <unistd.h>

class Descriptor {
public:
    explicit Descriptor(int descriptor = -1) : fd(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd >= 0) ::close(fd);
    }

    int get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }

private:
    int fd;
};
