/// @file
/// Faults that hit whole packets, the same on both wires.
#pragma once

#include <cstdint>

#include <hostlink/ByteArray.h>

#include "HostTime.h"
#include "SimulatedHost.h"

namespace hostsim {

/// What becomes of a packet of the module.
struct Passage {
    ByteArray packet; ///< what the engine gets; empty: nothing, it is only told that the module was heard
    ByteArray answer; ///< what is answered where the engine gets nothing; empty: nothing
    Time delay{0};    ///< how much later than at once the answer comes, whoever makes it
};

/// Stands between a wire and the engine. A message packet that is to be answered with anything but ack is answered here
/// and kept from the engine. A packet of the host's own that is to be repeated is acknowledged by the module, and the
/// engine sees a refusal in the place of that: it sends the packet again, as it does with any that is refused. One
/// thread at a time.
class PacketFaults {
public:
    /// @param simulatedHost not owned, must live longer
    explicit PacketFaults(SimulatedHost& simulatedHost) : host(simulatedHost) {}

    /// A packet of the module that verifies.
    Passage pass(const ByteArray& packet);

    /// How many packets of its own the host has had to send, the one given included. Its retries have its number.
    uint64_t numberOf(const ByteArray& own);
    /// It has gone out.
    void sent(const ByteArray& own);

private:
    Passage passMessage(const ByteArray& packet);
    ByteArray passResponse(const ByteArray& packet);
    bool isRepeated(AcknowledgeType answer);

    SimulatedHost& host;

    // Of the module's packets.
    uint64_t messagePackets = 0;
    ByteArray attempted; // the message packet received most recently, and how often in a row
    unsigned attempt = 0;
    uint64_t messagesBefore = 0; // received whole when it came

    // Of the host's own.
    uint64_t ownPackets = 0;
    ByteArray current;
    unsigned timesSent = 0;
    bool repeated = false;
    bool inFlight = false;
    uint64_t missingBefore = 0; // responses that were missing when it went out
};

} // namespace hostsim
