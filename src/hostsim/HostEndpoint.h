/// @file
/// A host behind a wire: packets in, packets out.
#pragma once

#include <optional>
#include <vector>

#include <hostlink/ByteArray.h>

#include "FaultInjector.h"
#include "FaultOptions.h"
#include "HostApplication.h"
#include "HostCounts.h"
#include "HostTime.h"
#include "HostTrace.h"
#include "IncomingFrames.h"
#include "OutgoingMessages.h"

namespace hostsim {

/// How a host is set up.
struct HostOptions {
    OutgoingOptions outgoing;
    FaultOptions faults;
    HostStates states = HostStates::afterPowerOn();
    Time repeatWindow = std::chrono::milliseconds(500); ///< see `IncomingFrames`
};

/// What the host puts onto the wire in answer to a packet.
struct Answer {
    ByteArray frame; ///< empty: nothing
    Time delay{0};   ///< how much later than at once
};

// The rows of a table stay one a line.
// clang-format off
/// The host itself, the same behind a serial line (`UartHost`) and on a bus (`BusHost`), which drive it.
///
/// What it answers to a packet:
///
/// | packet | answer |
/// |---|---|
/// | message packet | a response frame with ack; with nack when packets before it are missing. A complete message goes to the application, its answers are queued for sending |
/// | the same message packet again | ack, and nothing else |
/// | response frame | none; it is the answer to the packet in flight |
/// | reset frame | ack; open frames, queued messages and subscriptions are dropped |
/// | IRQ frame | on a bus see `BusHost`; on a serial line nack |
/// | any other format, and bytes that do not verify | nack |
///
/// Response frames carry the frame id of the packet that they answer, 0 for bytes that do not verify. Knows no device,
/// no thread and no clock. Not locked: one thread at a time.
// clang-format on
class HostEndpoint {
public:
    explicit HostEndpoint(const HostOptions& options = {});
    HostEndpoint(const HostEndpoint&) = delete;
    HostEndpoint& operator=(const HostEndpoint&) = delete;

    /// Queues messages of the host's own.
    void send(const std::vector<ByteArray>& messages, Time now);

    /// The application; what it wants to tell the module goes to `send()`.
    HostApplication& application() { return app; }
    const HostCounts& counts() const { return totals; }

    /// Whether the module has been heard, and has not failed since to answer a packet of the host.
    bool moduleAnswers() const { return outgoing.moduleAnswers(); }

    void setTrace(const Trace& observer);

    /// @name For the drivers
    /// @{

    /// One packet from the module, exactly its bytes, or bytes that do not verify.
    Answer takePacket(const ByteArray& packet, Time now);

    /// Notes, counts and traces a packet that the driver answers itself.
    void notePacketReceived(const ByteArray& packet);
    /// Counts and traces an answer that goes onto the wire.
    void noteAnswerSent(const ByteArray& frame);

    /// Sending: see `OutgoingMessages`.
    OutgoingMessages& sending() { return outgoing; }
    const OutgoingMessages& sending() const { return outgoing; }
    FaultInjector& faults() { return injector; }
    HostCounts& mutableCounts() { return totals; }
    /// @}

private:
    Answer takeMessagePacket(const ByteArray& packet, Time now);
    AcknowledgeType takeGoodPacket(const ByteArray& packet, Time now);
    void takeMessage(const ByteArray& message, Time now);
    void takeResponse(const ByteArray& packet, Time now);
    void takeReset();

    HostCounts totals;
    FaultInjector injector;
    IncomingFrames incoming;
    OutgoingMessages outgoing;
    HostApplication app;
    Trace trace;

    uint64_t messagePackets = 0; // received
    ByteArray attempted;         // the message packet received most recently, and how often in a row
    unsigned attempt = 0;
};

} // namespace hostsim
