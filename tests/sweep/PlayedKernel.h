/// @file
/// A part of the kernel that the test plays.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include <poll.h>
#include <sys/stat.h>

namespace sweep {

/// Answers system calls of the code under test in the kernel's place. An answer is the result, or a negated errno
/// value; no answer: the kernel does the work. Called without a lock, on whatever thread makes the call, and its own
/// system calls go to the kernel.
class PlayedKernel {
public:
    using Answer = std::optional<long>;

    PlayedKernel() = default;
    virtual ~PlayedKernel() = default;
    PlayedKernel(const PlayedKernel&) = delete;
    PlayedKernel& operator=(const PlayedKernel&) = delete;

    virtual Answer open(const char* /*path*/, int /*flags*/) { return {}; }
    virtual Answer ioctl(int /*fd*/, unsigned long /*request*/, void* /*argument*/) { return {}; }
    virtual Answer read(int /*fd*/, void* /*buffer*/, std::size_t /*size*/) { return {}; }
    virtual Answer write(int /*fd*/, const void* /*data*/, std::size_t /*size*/) { return {}; }
    virtual Answer stat(const char* /*path*/, struct stat* /*status*/) { return {}; }
    virtual Answer fstat(int /*fd*/, struct stat* /*status*/) { return {}; }
    /// The folder to open in place of this one; empty: the folder itself.
    virtual std::string folder(const char* /*path*/) { return {}; }
    /// The monotonic clock; no answer: the real one.
    virtual std::optional<std::chrono::nanoseconds> now() { return {}; }
    virtual Answer sleep(std::chrono::nanoseconds /*time*/) { return {}; }
    virtual Answer poll(pollfd* /*entries*/, std::size_t /*count*/, int /*timeout*/) { return {}; }
    virtual Answer flush(int /*fd*/, int /*queue*/) { return {}; }
    /// The descriptor is about to be closed, by the kernel in any case.
    virtual void closing(int /*fd*/) {}
};

/// Puts it in place; null takes it away. While no counted thread runs.
void playKernel(PlayedKernel* kernel);

} // namespace sweep
