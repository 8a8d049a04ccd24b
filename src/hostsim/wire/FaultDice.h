/// @file
/// Decides what happens to a packet, and does it.
#pragma once

#include <initializer_list>
#include <random>

#include "WireFault.h"
#include "WireJournal.h"

namespace faultywire {

/// The same faults, seed and order of questions give the same decisions on every machine. Not locked.
class FaultDice {
public:
    /// From now on; begins the random sequence anew.
    void set(const WireFaults& wireFaults);
    const WireFaults& faults() const { return options; }

    /// The first of these that hits, `None` mostly.
    WireFault drawOf(std::initializer_list<WireFault> candidates);
    /// One of the four that hit a byte, or `None`.
    WireFault drawByteFault();

    /// What arrives of the packet when `fault` hits a byte of it.
    Entry damage(EntryKind direction, const ByteArray& packet, WireFault fault);

private:
    WireFaults options;
    std::mt19937_64 random; // its sequence is fixed by the standard, unlike the distributions'
};

} // namespace faultywire
