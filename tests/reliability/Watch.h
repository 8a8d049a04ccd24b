/// @file
/// The soak: every link up at once, first idle, then with traffic, and the process watched.
#pragma once

#include <chrono>

namespace truth {

struct WatchOptions {
    std::chrono::seconds idle{30};
    std::chrono::seconds traffic{30};
};

/// Writes progress and tables to the standard output. False when memory, descriptors or threads grow, when a thread of
/// an idle link wakes up, or when a message gets lost.
bool runWatch(const WatchOptions& options);

} // namespace truth
