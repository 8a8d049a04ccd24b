/// @file
/// Where a thread is held up, and for how long, by a seed.
#pragma once

#include <cstdint>

#include "Point.h"

namespace schedule {

/// What happens to a thread at a point. A microsecond is the shortest delay.
struct Pause {
    bool yields = false;
    std::uint32_t microseconds = 0;

    bool operator==(const Pause& other) const { return yields == other.yields && microseconds == other.microseconds; }
};

/// Probabilistic concurrency testing, with delays in place of a scheduler of our own.
///
/// Each thread has a priority, high or low, which is drawn anew at the thread's change points; a thread has few of
/// them, at calls that are early more often than late. At a change point the thread may be held for long. While its
/// priority is low it is held for a short time at many points, at those most that the seed favours: each seed favours
/// some kinds of calls. A thread of high priority yields at times.
///
/// All of that follows from the seed, the thread's number and the number of the thread's point. Knows no clock, no
/// thread and no file; allocates nothing.
class Schedule {
public:
    static constexpr unsigned maxChangePoints = 3;         ///< of a thread, one at least
    static constexpr std::uint32_t lastChangePoint = 2048; ///< a thread goes on with its last priority from there
    static constexpr std::uint32_t shortest = 20;          ///< microseconds
    static constexpr std::uint32_t longestOfShort = 1000;  ///< microseconds
    static constexpr std::uint32_t longest = 16000;        ///< microseconds

    explicit constexpr Schedule(std::uint64_t seedOfRun = 0) : seed(seedOfRun) {}

    /// @param thread in order of creation, the test's own is 0
    /// @param number of the thread's points, from 1
    Pause at(unsigned thread, std::uint32_t number, Point point) const;

    /// How threads are held: asleep, or passed over, which ends in being ready to run. A thread's state in /proc tells
    /// the two apart, and the library looks there.
    bool holdsAsleep() const;

private:
    bool favours(Point point) const;
    bool isLow(unsigned thread, unsigned phase) const;

    std::uint64_t seed;
};

} // namespace schedule
