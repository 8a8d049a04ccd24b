/// @file
/// Time that the code under test would have slept.
#pragma once

#include <chrono>

/// Since the last call, by all threads. Programs that link this do not sleep in `std::this_thread::sleep_for`: a retry
/// costs nothing, and whether it would have waited can still be seen.
std::chrono::nanoseconds takeSkippedSleep();
