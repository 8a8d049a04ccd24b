/// @file
/// What a subscriber is told.
#pragma once

#include <cstdint>

#include "Value.h"

namespace hostlink {

/// A state has a value that the subscriber did not know.
struct Change {
    StateId state;
    Value value;
    /// The value was read, not told: it is what the host held when the subscription began, or after a new link.
    bool wasRead = false;
    /// Changes that this subscriber has missed right before this one, because its callback was too slow.
    uint64_t missed = 0;
};

} // namespace hostlink
