/// @file
/// Failed system calls as one clear line.
#pragma once

#include <cerrno>
#include <string>
#include <system_error>

/// @throw std::system_error with `what` and the text of `errno`
[[noreturn]] inline void throwSystemError(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// The result of a system call that does not return -1.
/// @throw std::system_error with `what` and the text of `errno`, when it does
inline int checked(int result, const std::string& what) {
    if (result < 0) throwSystemError(what);
    return result;
}
