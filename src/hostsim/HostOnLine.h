/// @file
/// The host at the other end of a serial line.
#pragma once

#include <deque>
#include <memory>
#include <optional>

#include <host/HostLinkHostUart.h>
#include <hostlink/ByteArray.h>

#include "HostTime.h"
#include "LineEnd.h"
#include "PacketCutter.h"
#include "PacketFaults.h"
#include "SimulatedHost.h"

namespace hostsim {

struct LineOptions {
    Time packetTimeout = std::chrono::milliseconds(100); ///< longest pause inside a packet, up to 65 s
};

/// Puts a host behind a byte stream, and the faults of `FaultOptions` around it:
///
///     bytes in   noise -> cut -> PacketFaults -> engine
///     bytes out  noise, split <- late, garbage <- engine, PacketFaults
///
/// Knows no device, no thread and no clock. Not locked: one thread at a time.
///
/// An answer to a packet goes out before any packet of the host's own. One packet of the host's own is on its way at a
/// time; the next follows when the module has answered it.
///
/// Use: hand in the bytes that have come with `receive()`; then, and when `nextDeadline()` has come (with `advance()`
/// first), write what `nextWrite()` gives until it gives nothing.
class HostOnLine : public LineEnd {
public:
    /// @param simulatedHost the host behind the wire; not owned, must live longer
    explicit HostOnLine(SimulatedHost& simulatedHost, const LineOptions& options = {});

    void receive(const ByteArray& bytes, Time now) override;

    /// The bytes of the next write, never empty as long as there is anything to write by now.
    ByteArray nextWrite(Time now) override;

    /// Does what the time has come for: gives up half packets and acknowledgements that did not come.
    void advance(Time now) override;

    /// When `advance()` and `nextWrite()` are to be called next although nothing has come in; none when only the module
    /// or a new message can change anything. May be in the past.
    std::optional<Time> nextDeadline(Time now) const override;

private:
    struct DelayedAnswer {
        Time due;
        ByteArray frame;
    };

    void take(const ByteArray& packet, Time now);
    void takePacket(const ByteArray& packet, Time now);
    void takeBadBytes(Time now);
    void give(const ByteArray& bytes, Time now);
    ByteArray fetch(size_t room, Time now);
    void queueAnswer(ByteArray frame, Time due);
    bool makeWrites(Time now);
    bool writeAnswer(Time now);
    bool writePacket(Time now);
    void putOnLine(const ByteArray& packet, const ByteArray& before);
    void countSkipped();

    SimulatedHost& host;
    PacketFaults packetFaults;
    PacketCutter cutter;
    uint32_t skippedRead = 0; // of the cutter, when it was added to the counts
    std::unique_ptr<uint8_t[]> received;
    HostLinkHostUart uart{};           // sees whole packets, and bytes that are none
    std::deque<DelayedAnswer> answers; // in the order of their packets: a late answer holds up those behind it
    std::deque<ByteArray> writes;      // made, noise included, and not yet handed out
};

} // namespace hostsim
