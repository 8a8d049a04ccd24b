/// @file
/// The host as device on an I2C or SPI bus with an interrupt line.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include <host/HostLinkHostBus.h>
#include <hostlink/ByteArray.h>

#include "HostTime.h"
#include "I2cPeripheral.h"
#include "PacketFaults.h"
#include "SimulatedHost.h"

namespace hostsim {

/// How the bus is served; times each up to 65 s.
struct BusOptions {
    /// A line that has been low for this long without an IRQ frame from the module goes high for `interruptGap` and low
    /// again: the edge may have come before the module was listening. 0: never.
    Time interruptRepeat = std::chrono::milliseconds(250);
    Time interruptGap = std::chrono::milliseconds(1);
    /// The engine is driven from the interrupts of an I2C peripheral, a byte at a time, not by whole phases.
    bool byteByByte = false;
};

/// Puts a host behind bus transactions, bytes that the master writes and reads in and out, the level of the interrupt
/// line out, and the faults of `FaultOptions` around it:
///
///     write   noise -> PacketFaults -> engine
///     read    noise <- late, idle, garbage once, an answer in place of the engine's <- engine
///
/// What a transaction means is the engine's affair (`host/HostLinkHostBus.h`). It gets each IRQ frame and prepares its
/// answer, also where another one is read in its place; so it keeps its packet and its line. Knows no device, no
/// thread and no clock. Not locked: one thread at a time.
///
/// Use: after every call, and when `nextDeadline()` has come (then with `advance()` first), put the line at
/// `interruptLow()`.
class HostOnBus {
public:
    /// What an idle bus reads as, and what fills a read behind the answer.
    static constexpr unsigned char idleByte = HOSTLINK_HOST_IDLE_BYTE;

    /// @param simulatedHost the host behind the wire; not owned, must live longer
    explicit HostOnBus(SimulatedHost& simulatedHost, const BusOptions& options = {});

    /// The bytes of one write phase: an I2C write message, or the part of an SPI message in which the module sends.
    /// None of them, also after noise: nothing happens.
    void write(const ByteArray& bytes, Time now);

    /// The bytes of one read phase, always exactly `count` of them.
    ByteArray read(size_t count, Time now);

    /// Does what the time has come for, for example gives up waiting for an acknowledgement.
    void advance(Time now);

    /// Whether the host pulls the interrupt line low at this moment.
    bool interruptLow(Time now);

    /// When `advance()` and `interruptLow()` are to be called next although nothing has happened on the bus; none when
    /// only the bus or a new message can change anything. Never in the past.
    std::optional<Time> nextDeadline(Time now);

private:
    // What stands before the engine's answer to the write that came last, or in its place.
    struct Reply {
        bool isReplaced = false;
        ByteArray frame; // read in place of the engine's; empty: nothing
        Time due{0};
        unsigned lateTransfers = 0;
        ByteArray garbage; // read once in place of the answer
        bool isNoted = false;
    };

    // What the module has asked for with IRQ frames.
    struct Asked {
        uint64_t packetNumber = 0;
        unsigned times = 0;
        unsigned announced = 0;
    };

    void takePacket(const ByteArray& packet, Time now);
    void takeIrq(const ByteArray& packet, Time now);
    void replaceWith(const ByteArray& frame);
    void give(const ByteArray& bytes, Time now);
    ByteArray transfer(size_t count, Time now);
    ByteArray answer(size_t count, Time now);
    void note(const ByteArray& frame);

    SimulatedHost& host;
    PacketFaults packetFaults;
    std::unique_ptr<uint8_t[]> received;
    HostLinkHostBus bus{};
    std::optional<I2cPeripheral> peripheral; // in front of `bus`, where each byte is an interrupt
    Reply reply;
    Asked asked;
};

} // namespace hostsim
