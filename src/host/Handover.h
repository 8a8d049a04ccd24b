/// @file
/// What one context writes and the other reads. One load or store of the machine, on a Cortex-M0 too: nothing is
/// locked, and what was written before the store is seen after the load.
#pragma once

#include <stdint.h>

namespace hostlink {

template <typename Number> Number taken(const Number& shared) {
    return __atomic_load_n(&shared, __ATOMIC_ACQUIRE);
}

template <typename Number> void hand(Number& shared, Number value) {
    __atomic_store_n(&shared, value, __ATOMIC_RELEASE);
}

} // namespace hostlink
