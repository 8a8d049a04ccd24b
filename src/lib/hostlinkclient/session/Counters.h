/// @file
/// What the client counts.
#pragma once

#include <atomic>
#include <cstdint>

#include <hostlink/LinkCounters.h>

#include "hostlinkclient/session/Histogram.h"

namespace hostlink {

/// Counted on whatever thread it happens, without a lock; read on any.
struct Counters {
    using Count = std::atomic<uint64_t>;

    Count packetsOut{0}; ///< packets handed to the link, repetitions included
    Count bytesOut{0};   ///< their bytes
    Count packetsIn{0};  ///< message packets that the link delivered, repeated ones included
    Count bytesIn{0};
    Count messagesOut{0}; ///< messages that the host has accepted
    Count messagesIn{0};
    Count refusedPackets{0};     ///< packets that the host's link refused
    Count unansweredPackets{0};  ///< packets without a usable answer of the host's link
    Count repeatedPackets{0};    ///< packets of the host that came twice; dropped
    Count unansweredWrites{0};   ///< messages that the host has not accepted
    Count retries{0};            ///< requests sent again
    Count timeouts{0};           ///< requests whose answer did not come
    Count staleAnswers{0};       ///< answers to what had ended, or to nothing
    Count links{0};              ///< links that were opened
    Count losses{0};             ///< links that were lost, or given up to be made anew
    Count resynchronisations{0}; ///< of those, the ones given up after unanswered writes
    Histogram responseTimes;     ///< of requests that were answered
    LinkCounts ofLinks;          ///< what the links count themselves, where they do
};

inline void countUp(Counters::Count& count, uint64_t by = 1) {
    count.fetch_add(by, std::memory_order_relaxed);
}

} // namespace hostlink
