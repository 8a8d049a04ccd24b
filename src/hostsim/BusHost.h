/// @file
/// The host as device on an I2C or SPI bus with an interrupt line.
#pragma once

#include <cstddef>
#include <optional>

#include <hostlink/ByteArray.h>

#include "HostEndpoint.h"
#include "HostTime.h"

namespace hostsim {

/// Timing of the interrupt line.
struct BusOptions {
    /// A line that has been low for this long without an IRQ frame from the module goes high for `interruptGap` and low
    /// again: the edge may have come before the module was listening. 0: never.
    Time interruptRepeat = std::chrono::milliseconds(250);
    Time interruptGap = std::chrono::milliseconds(1);
};

/// Drives a host over bus transactions: bytes that the master writes and reads come in and go out, the level of the
/// interrupt line comes out. Knows no device, no thread and no clock. Not locked: one thread at a time.
///
/// What a transaction means:
///
/// - The module writes a message packet, then reads: the host answers with a response frame.
/// - The module writes an IRQ frame whose value is the number of bytes that it is going to read, then reads: the host
///   answers with the packet that it has to send when that fits, else with an IRQ frame carrying the packet's size, and
///   the module asks again with that size. With nothing to send it answers with a response frame with neither bit.
/// - The module writes a response frame, without a read: it acknowledges the packet that it has just read.
///
/// The line is low (asking for service) from the moment there is a packet to send until the module has read it. It goes
/// low again, which is one new falling edge, when the module has acknowledged the packet and there is another one, and
/// when it has refused it or not answered in time. Each edge thus stands for one packet.
///
/// The answer to a write stays in place until the next write: a read that comes before the answer is ready (a late
/// host) gets idle bytes, and a repeated read gets the answer from its beginning.
///
/// Use: after every call, and when `nextDeadline()` has come (then with `advance()` first), put the line at
/// `interruptLow()`.
class BusHost {
public:
    /// What an idle bus reads as, and what fills a read behind the answer.
    static constexpr unsigned char idleByte = 0xFF;

    /// @param host the host behind the wire; not owned, must live longer
    explicit BusHost(HostEndpoint& host, const BusOptions& busOptions = {});

    /// The bytes of one write phase: an I2C write message, or the part of an SPI message in which the module sends.
    void write(const ByteArray& bytes, Time now);

    /// The bytes of one read phase, always exactly `count` of them.
    ByteArray read(size_t count, Time now);

    /// Does what the time has come for, for example gives up waiting for an acknowledgement.
    void advance(Time now);

    /// Whether the host pulls the interrupt line low at this moment.
    bool interruptLow(Time now) const;

    /// When `advance()` and `interruptLow()` are to be called next although nothing has happened on the bus; none when
    /// only the bus or a new message can change anything. Never in the past.
    std::optional<Time> nextDeadline(Time now) const;

private:
    // The answer to the write that came last.
    struct Reply {
        ByteArray frame; // empty: none
        Time due{0};
        unsigned lateTransfers = 0;
        ByteArray garbage; // read once in place of the frame
        bool isOwnPacket = false;
        bool handedOut = false;
    };

    // What the module has asked for with IRQ frames.
    struct Asked {
        uint64_t packetNumber = 0;
        unsigned times = 0;
        unsigned announced = 0;
    };

    void takeIrq(const ByteArray& packet, Time now);
    ByteArray transfer(Time now);
    Time sinceLastEdge(Time now) const;

    HostEndpoint& endpoint;
    BusOptions options;
    Reply reply;
    Asked asked;
    Time lastIrqAt{0};
};

} // namespace hostsim
