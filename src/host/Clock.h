/// @file
/// Times that wrap: 32-bit milliseconds, compared within half of their range, which is 24 days.
#pragma once

#include <stdint.h>

namespace hostlink {

inline bool isDue(uint32_t at, uint32_t now) {
    return now - at < UINT32_C(0x80000000);
}

/// Milliseconds from `now` until `at`; 0 when it has come.
inline uint32_t timeUntil(uint32_t at, uint32_t now) {
    return isDue(at, now) ? 0 : at - now;
}

} // namespace hostlink
