/// @file
/// The memory of the program that made a system call.
#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/types.h>

namespace busrig {

/// Addresses inside the structures of an ioctl point into the caller's memory, which the kernel does not copy for a
/// file system in user space. Needs the same user, or the right to trace the caller.
class CallerMemory {
public:
    explicit CallerMemory(pid_t caller) : pid(caller) {}

    /// False when not all of it is readable (the system call then gives EFAULT).
    bool read(void* to, uintptr_t from, size_t count) const;
    bool write(uintptr_t to, const void* from, size_t count) const;

private:
    const pid_t pid;
};

} // namespace busrig
