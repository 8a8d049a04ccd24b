/// @file
/// Time as the exchanges know it.
#pragma once

#include <chrono>

namespace hostlink::exchange {

/// A point in time or a span of it. The machines have no clock: whoever drives them hands in the present time, counted
/// from any fixed moment, never going back.
using Time = std::chrono::nanoseconds;

} // namespace hostlink::exchange
