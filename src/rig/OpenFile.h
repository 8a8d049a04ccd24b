/// @file
/// One open descriptor of a file of the rig.
#pragma once

#include <cerrno>
#include <cstddef>
#include <memory>

#include <sys/types.h>

#include "GpioLines.h"

namespace busrig {

/// An ioctl as it reaches a file system in user space.
struct IoctlCall {
    pid_t caller; ///< the thread that made the call
    unsigned command;
    void* argument; ///< the third argument as the caller gave it: a number or an address in the caller's memory
    void* data;     ///< copy of what `argument` points to when the command encodes its size, for both directions
};

/// Every call gives bytes (or a result of its own), or a negative errno.
class OpenFile {
public:
    virtual ~OpenFile() = default;
    virtual int read(char* buffer, size_t size, size_t offset) = 0;
    virtual int write(const char* buffer, size_t size) = 0;
    virtual int ioctl(const IoctlCall&) { return -ENOTTY; }
    /// The pending events.
    virtual unsigned poll(std::unique_ptr<PollWaiter> waiter) = 0;
};

} // namespace busrig
