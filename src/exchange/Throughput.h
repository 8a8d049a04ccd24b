/// @file
/// How fast bytes go, and how long the rest will take.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "ExchangeTime.h"

namespace hostlink::exchange {

/// Throughput over the last five seconds: long enough to be steady, short enough to tell that a line has become slow.
class Throughput {
public:
    static constexpr Time window = std::chrono::seconds(5);

    explicit Throughput(Time began) : marks{{began, 0}} {}

    /// @param bytes all bytes so far
    void note(uint64_t bytes, Time now);

    /// Bytes a second; 0 before there is anything to tell.
    double rate(Time now) const;
    /// What is left of `total` at this rate; none while nothing moves.
    std::optional<Time> left(uint64_t total, Time now) const;

private:
    struct Mark {
        Time at;
        uint64_t bytes;
    };
    std::deque<Mark> marks; // the first is the youngest that is as old as the window
};

} // namespace hostlink::exchange
