/// @file
/// How long to wait before something is tried again.
#pragma once

#include <chrono>
#include <cstdint>

namespace hostlink {

/// Pauses that double from failure to failure, up to a longest, each drawn from the upper half of its length. A value;
/// knows no clock.
class Backoff {
public:
    using Pause = std::chrono::milliseconds;

    Backoff(Pause first, Pause most, uint64_t seed) : shortest(first), longest(most), length(first), random(seed) {}

    /// The pause after one more failure.
    Pause next() {
        const Pause full = length < longest ? length : longest;
        length = full < longest / 2 ? full * 2 : longest;
        const auto half = static_cast<uint64_t>(full.count() / 2);
        return Pause(full.count() - static_cast<Pause::rep>(draw() % (half + 1)));
    }

    /// It went well: the next failure begins anew.
    void reset() { length = shortest; }

private:
    // Linear congruential generator of Knuth's MMIX, upper bits.
    uint64_t draw() {
        random = random * 6364136223846793005u + 1442695040888963407u;
        return random >> 33;
    }

    Pause shortest;
    Pause longest;
    Pause length;
    uint64_t random;
};

} // namespace hostlink
