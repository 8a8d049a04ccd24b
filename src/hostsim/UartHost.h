/// @file
/// The host at the other end of a serial line.
#pragma once

#include <deque>
#include <optional>

#include <hostlink/ByteArray.h>

#include "HostEndpoint.h"
#include "HostTime.h"
#include "StreamReader.h"

namespace hostsim {

struct UartOptions {
    Time packetTimeout = std::chrono::milliseconds(100); ///< longest pause inside a packet
};

/// Drives a host over a byte stream. Knows no device, no thread and no clock. Not locked: one thread at a time.
///
/// An answer to a packet goes out before any packet of the host's own. One packet of the host's own is on its way at a
/// time; the next follows when the module has answered it.
///
/// Use: hand in the bytes that have come with `receive()`; then, and when `nextDeadline()` has come (with `advance()`
/// first), write what `nextWrite()` gives until it gives nothing.
class UartHost {
public:
    /// @param host the host behind the wire; not owned, must live longer
    explicit UartHost(HostEndpoint& host, const UartOptions& options = {});

    void receive(const ByteArray& bytes, Time now);

    /// The bytes of the next write, never empty as long as there is anything to write by now.
    ByteArray nextWrite(Time now);

    /// Does what the time has come for: gives up half packets and acknowledgements that did not come.
    void advance(Time now);

    /// When `advance()` and `nextWrite()` are to be called next although nothing has come in; none when only the module
    /// or a new message can change anything. May be in the past.
    std::optional<Time> nextDeadline(Time now) const;

private:
    struct DelayedAnswer {
        Time due;
        ByteArray frame;
    };

    void take(const ByteArray& packet, Time now);
    bool makeWrites(Time now);
    void putOnLine(const ByteArray& packet, const ByteArray& before);

    HostEndpoint& endpoint;
    StreamReader reader;
    std::deque<DelayedAnswer> answers; // in the order of their packets: a late answer holds up those behind it
    std::deque<ByteArray> writes;      // made, noise included, and not yet handed out
};

} // namespace hostsim
