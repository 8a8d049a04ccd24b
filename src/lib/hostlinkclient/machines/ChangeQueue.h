/// @file
/// What waits for a subscriber.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "hostlinkclient/Change.h"

namespace hostlink {

/// Changes in order, bounded: by their number, the oldest being dropped, or to the latest of each state. One thread at
/// a time.
class ChangeQueue {
public:
    /// @param most how many are kept; 0 keeps the latest of each state
    explicit ChangeQueue(std::size_t most) : capacity(most) {}

    void push(Change change);
    /// The oldest, with the number of those that were dropped before it; none when there are none.
    std::optional<Change> pop();
    bool empty() const { return changes.empty(); }
    /// Changes dropped so far.
    uint64_t dropped() const { return droppedEver; }

private:
    std::size_t capacity;
    std::deque<Change> changes;
    uint64_t droppedEver = 0;
};

} // namespace hostlink
