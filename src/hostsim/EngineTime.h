/// @file
/// Time as the engine counts it: whole milliseconds in 32 bits that wrap.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>

#include <host/HostLinkHost.h>

#include "HostTime.h"

namespace hostsim {

/// The milliseconds that are over.
inline uint32_t wholeMilliseconds(Time time) {
    return static_cast<uint32_t>(std::chrono::floor<std::chrono::milliseconds>(time).count());
}

/// The moment that lies so many of the engine's milliseconds ahead; none for `HOSTLINK_HOST_NEVER`.
inline std::optional<Time> momentAfter(Time now, uint32_t wait) {
    if (wait == HOSTLINK_HOST_NEVER) return std::nullopt;
    return std::chrono::floor<std::chrono::milliseconds>(now) + std::chrono::milliseconds(wait);
}

/// A span as a setup takes it, what is left of a millisecond rounded up. Those that are too long for it are cut off;
/// 32 bits hold half of the clock, because the engine compares within that.
template <typename Number> Number engineSpan(Time span) {
    constexpr int64_t longest = std::min<int64_t>(std::numeric_limits<Number>::max(), INT32_MAX);
    const int64_t whole = std::chrono::ceil<std::chrono::milliseconds>(span).count();
    return static_cast<Number>(std::clamp<int64_t>(whole, 0, longest));
}

} // namespace hostsim
