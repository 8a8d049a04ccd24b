/// @file
/// Time as the host model knows it.
#pragma once

#include <chrono>

namespace hostsim {

/// A point in time or a span of it, in microseconds. The model has no clock: whoever drives it hands in the present
/// time, counted from any fixed moment, never going back.
using Time = std::chrono::microseconds;

} // namespace hostsim
