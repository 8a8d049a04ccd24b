/// @file
/// Sends the host's messages, one packet at a time.
#pragma once

#include <bitset>
#include <cstdint>
#include <deque>
#include <optional>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkMsgFrame.h>

#include "FaultInjector.h"
#include "HostCounts.h"
#include "HostTime.h"
#include "HostTrace.h"

namespace hostsim {

struct OutgoingOptions {
    int maxPacketSize = 64;                          ///< bytes, 11 to 65535
    Time responseTimeout = std::chrono::seconds(1);  ///< how long the module may take to acknowledge
    Time retryDelay = std::chrono::milliseconds(10); ///< before a refused packet goes out again
    unsigned attempts = 4;                           ///< of each packet
    size_t maxQueued = 100000;                       ///< messages; more are given up at once
};

/// A queue of messages that are cut into packets. At most one packet is in flight, that is sent and not yet
/// acknowledged. A packet that the module refuses goes out again, up to four times in all; a message of which a packet
/// is refused too often, or not acknowledged in time, or answered with anything but ack or nack is given up, as the
/// module gives up its own: nobody knows whether it has arrived. One thread at a time.
class OutgoingMessages {
public:
    OutgoingMessages(const OutgoingOptions& outgoing, FaultInjector& injector, HostCounts& hostCounts);

    void push(const ByteArray& message, Time now);

    /// The packet that is to go onto the wire; null while there is none, while one is in flight and while a refused one
    /// waits for its retry.
    const ByteArray* packet(Time now) const;
    /// Since when `packet()` has been there.
    Time readySince() const { return readyAt; }
    /// Message packets handed out so far, the one in `packet()` included.
    uint64_t packetNumber() const { return packetsMade; }
    /// `packet()` has been put onto the wire.
    void packetSent(Time now);

    /// The module has answered; true when a packet was in flight.
    bool answered(AcknowledgeType answer, Time now);

    /// Gives up waiting when it is time for it.
    void advance(Time now);
    /// When `advance()` is due, or when a refused packet will be ready again.
    std::optional<Time> nextDeadline(Time now) const;

    /// Drops everything that is queued.
    void reset();

    /// Whether the module acknowledged the packet that was answered, or left unanswered, most recently.
    bool moduleAnswers() const { return answering; }
    void moduleHeard() { answering = true; }

    void setTrace(Trace observer) { trace = std::move(observer); }

private:
    void acknowledged(Time now);
    void refused(Time now);
    void giveUp(Time now);
    void endMessage(Time now);
    void beginMessage(Time now);
    bool cutFront(Time now);
    void makePacket(Time now);
    uint8_t drawFrameId();

    OutgoingOptions options;
    FaultInjector& faults;
    HostCounts& counts;
    Trace trace;

    std::deque<ByteArray> queue;           // its front is the message that is being sent
    std::optional<HostLinkMsgFrame> frame; // of that message
    uint8_t frameId = 0;
    uint8_t nextFrameId = 0;
    std::bitset<256> spoiled; // ids of frames of which the module may still hold a part
    int packetIndex = 0;
    ByteArray current;
    unsigned attempt = 0;
    bool repeating = false; // `current` goes out once more although it was acknowledged
    bool inFlight = false;
    bool answering = false;
    Time readyAt{0};
    Time answerDueAt{0};
    uint64_t packetsMade = 0;
};

} // namespace hostsim
