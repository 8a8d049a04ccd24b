/// @file
/// What the replaced functions of the C library ask and tell.
#pragma once

#include <cstdint>

#include "Point.h"

namespace schedule {

/// Whether the calling thread is one that is to be held up.
bool isHunted();

/// The calling thread has come to a point. Keeps errno.
void reach(Point point);

/// The number of a thread that the calling thread is about to start, and its first words when it has begun: it may be
/// held up from then on. A number of an earlier scheduler counts for nothing.
struct Ticket {
    std::uint32_t run;
    std::uint32_t number;
};
Ticket takeTicket();
void enter(Ticket ticket);

} // namespace schedule
