/// @file
/// A recorded bus, as it is played.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include <hostlink/ByteArray.h>

#include "Recording.h"
#include "Script.h"

namespace command {

/// Something recorded.
struct Moment {
    std::size_t order; ///< among the wire's packets
    uint64_t time;     ///< nanoseconds since 1970
};

/// What the module wrote, and what it read behind that.
struct BusExchange {
    Moment when;
    ByteArray written;
    std::vector<ByteArray> reads; ///< also those that brought nothing
    std::optional<Moment>
        request;       ///< of an IRQ frame: when the line went low for it; none where it follows another one
    Moment answered{}; ///< when the answer was read
    ByteArray answer;  ///< the packet in what was read; empty: none

    /// The frame type, −1 where no packet was written.
    int type() const;
};

/// All exchanges of a wire whose transactions were recorded. Where an edge of the line is missing in front of an IRQ
/// frame, it is put there.
std::vector<BusExchange> exchangesOf(const Recording& recording, uint32_t interface);

/// What both sides said. Of the module's side are left out transactions that failed, and IRQ frames that brought
/// neither a message nor how long one is, with their acknowledgements: how often it has to ask is up to the wire, and
/// to when.
std::vector<Step> scriptOf(const std::vector<BusExchange>& exchanges, Side played);

} // namespace command
