/// @file
/// Packets of the host that come twice.
#pragma once

#include <hostlink/ByteArray.h>

#include "hostlinkclient/machines/Question.h"

namespace hostlink {

/// Tells a packet that the host has sent again, because the module's acknowledgement did not reach it, from a new one.
/// The host sends the same bytes again, frame id included, and nothing else in between; a new message draws a new frame
/// id. A host that is seen to give two different messages one id after another does not number its frames, and nothing
/// of it counts as repeated. Pure; one thread at a time.
class RepeatedPackets {
public:
    /// Packets longer apart than this are two.
    static constexpr std::chrono::milliseconds longest{500};

    /// Whether this message packet is the one before it again.
    bool isRepeated(const ByteArray& packet, Time now);

private:
    ByteArray last;
    Time lastCame{};
    bool numbersFrames = true;
};

} // namespace hostlink
