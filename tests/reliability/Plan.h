/// @file
/// What is sent in a truth run, from a seed.
#pragma once

#include <cstdint>
#include <vector>

#include <hostlink/ByteArray.h>
#include <hostsim/wire/WireFault.h>

namespace truth {

/// One outbound message, after so many inbound ones have been queued.
struct Step {
    ByteArray outbound;
    std::vector<ByteArray> inbound;
};

/// A time with faults.
struct Segment {
    faultywire::WireFaults faults;
    std::vector<Step> steps;
};

struct Plan {
    int maxPacketSize = 64;
    std::vector<Segment> segments;
};

struct PlanOptions {
    uint64_t seed = 1;
    unsigned segments = 2;
    unsigned messages = 20;                   ///< of each segment
    double rate = 0;                          ///< share of the packets that are hit
    std::vector<faultywire::WireFault> kinds; ///< one, which has the rate alone, or all, which share it
    std::chrono::microseconds lateBy{0};
};

/// The same options give the same plan on every machine.
Plan makePlan(const PlanOptions& options);

/// A message that the host does not answer (a response), different for every number and direction.
ByteArray numberedMessage(uint32_t number, char direction, const ByteArray& tail);

} // namespace truth
