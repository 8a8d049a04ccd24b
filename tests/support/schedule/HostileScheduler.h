/// @file
/// A scheduler that is against us.
#pragma once

#include <cstdint>

#include "Point.h"

namespace schedule {

/// Holds threads up where it hurts, while it lives: the thread that makes it, and those that this one and its
/// descendants start meanwhile. Delays come before and after the calls of Point.h that libraries make; calls that the
/// test program's own code makes go untouched, so that a test's helpers cost nothing. `Schedule` says which and how
/// long.
///
/// The delays of all threads together take at most a tenth of a second and an eighth of the time that has passed: no
/// time-out of the protocol is met because of them. They take no lock, allocate nothing and leave errno alone.
///
/// One at a time. Programs that link `hostile_schedule` have the C library's functions replaced by ones that do nothing
/// more without an object of this class.
class HostileScheduler {
public:
    explicit HostileScheduler(std::uint64_t seedToUse);
    ~HostileScheduler();
    HostileScheduler(const HostileScheduler&) = delete;
    HostileScheduler& operator=(const HostileScheduler&) = delete;

    /// The seed of the one that lives, or of the last one; 0 when there was none.
    static std::uint64_t seed();
    /// How often a thread has come to this point since the scheduler that lives was made, or the last one.
    static std::uint32_t timesAt(Point point);
    /// What all threads together were to be held up in that time, in microseconds.
    static std::uint64_t delayed();
};

/// Leaves the calling thread alone while it lives, and for good those that it starts meanwhile: for the far side of a
/// test, and for observers.
class Undisturbed {
public:
    Undisturbed();
    ~Undisturbed();
    Undisturbed(const Undisturbed&) = delete;
    Undisturbed& operator=(const Undisturbed&) = delete;

private:
    const bool before;
};

} // namespace schedule
