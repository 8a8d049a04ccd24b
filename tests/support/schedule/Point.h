/// @file
/// Where a schedule may hold a thread.
#pragma once

#include <cstddef>

namespace schedule {

/// A call of the C library, or the life of a thread. Each has a point before it and a point after it.
enum class Call : unsigned char {
    Lock,
    Unlock,
    Wait,   ///< on a condition, with or without a time-out
    Notify, ///< one or all
    Create, ///< of a thread, on the thread that makes it
    Join,
    Life, ///< the points of a thread's own beginning and end
    Read,
    Write,
    Poll,
    Close,
    Ioctl
};
constexpr std::size_t callCount = 12;

struct Point {
    Call call;
    bool after;
};
constexpr std::size_t pointCount = 2 * callCount;

constexpr std::size_t indexOf(Point point) {
    return 2 * static_cast<std::size_t>(point.call) + (point.after ? 1 : 0);
}

} // namespace schedule
