/// @file
/// Division, also where the processor has none and the compiler would call a helper of its own.
#pragma once

#include <stdint.h>

/// The quotient, rounded up, by shifting and subtracting; `divisor` is not 0.
static constexpr uint32_t dividedUpStepByStep(uint32_t number, uint16_t divisor) {
    uint32_t quotient = 0;
    uint32_t rest = 0; // below the divisor, so that it never has more than 17 bits
    for (int bit = 31; bit >= 0; --bit) {
        rest = rest << 1 | (number >> bit & 1);
        quotient <<= 1;
        if (rest < divisor) continue;
        rest -= divisor;
        ++quotient;
    }
    return quotient + (rest != 0 ? 1 : 0);
}

static constexpr uint32_t dividedUp(uint32_t number, uint16_t divisor) {
#if defined(__ARM_ARCH) && __ARM_ARCH < 7 && !defined(__ARM_FEATURE_IDIV)
    return dividedUpStepByStep(number, divisor);
#else
    return number / divisor + (number % divisor != 0 ? 1 : 0);
#endif
}

static_assert(dividedUpStepByStep(0, 54) == 0 && dividedUpStepByStep(54, 54) == 1 && dividedUpStepByStep(55, 54) == 2);
static_assert(dividedUpStepByStep(0xFFFFFFFF, 1) == 0xFFFFFFFF && dividedUpStepByStep(0xFFFFFFFF, 65535) == 65537);
static_assert(dividedUpStepByStep(65536, 65535) == 2 && dividedUpStepByStep(13824, 54) == 256);
