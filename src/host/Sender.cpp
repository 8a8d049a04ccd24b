#include "Sender.h"

#include <string.h>

#include "Clock.h"
#include "Handover.h"
#include "OutQueue.h"

namespace hostlink {

namespace {

enum : uint8_t { Idle, Ready, Sending, InFlight, Pausing };

constexpr uint8_t idsInAByte = 8;
constexpr uint8_t allSpoiled = 0xFF;

bool isSpoiled(const HostLinkHostSender& sender, uint8_t id) {
    return (sender.spoiled[id / idsInAByte] >> (id % idsInAByte) & 1) != 0;
}

void spoil(HostLinkHostSender& sender, uint8_t id) {
    uint8_t& eight = sender.spoiled[id / idsInAByte];
    eight = static_cast<uint8_t>(eight | 1U << (id % idsInAByte));
}

bool areAllSpoiled(const HostLinkHostSender& sender) {
    for (const uint8_t eight : sender.spoiled) {
        if (eight != allSpoiled) return false;
    }
    return true;
}

uint8_t drawFrameId(HostLinkHostSender& sender) {
    if (areAllSpoiled(sender)) memset(sender.spoiled, 0, sizeof sender.spoiled);
    while (isSpoiled(sender, sender.nextFrameId)) ++sender.nextFrameId;
    return sender.nextFrameId++;
}

void cutPacket(HostLinkHost& host) {
    HostLinkHostSender& sender = host.sender;
    const QueuedMessage message = frontMessage(host);
    hostLinkFrameMsgSerialize(host.setup.packet, host.setup.packetSize, &sender.length, sender.frameId, message.bytes,
                              message.length, host.setup.packetSize, sender.packetIndex, 0);
    sender.attempt = 0;
    sender.state = Ready;
}

void endMessage(HostLinkHost& host, HostLinkHostOutcome outcome) {
    host.sender.state = Idle;
    finishFront(host, outcome);
}

void giveUp(HostLinkHost& host, HostLinkHostOutcome reason) {
    const bool isWhole = host.sender.packetIndex == 0 && hostLinkPacketIsLast(host.setup.packet) != 0;
    if (!isWhole) spoil(host.sender, host.sender.frameId);
    ++host.counts.givenUp;
    endMessage(host, reason);
}

void acknowledged(HostLinkHost& host) {
    if (hostLinkPacketIsLast(host.setup.packet) != 0) {
        ++host.counts.sent;
        endMessage(host, OUT_Sent);
        return;
    }
    ++host.sender.packetIndex;
    cutPacket(host);
}

void refused(HostLinkHost& host, uint32_t now) {
    if (host.sender.attempt >= host.setup.attempts) {
        giveUp(host, OUT_Refused);
        return;
    }
    ++host.counts.retries;
    host.sender.state = Pausing;
    host.sender.dueAt = now + host.setup.retryDelay;
}

} // namespace

bool isPacketReady(const HostLinkHost& host, uint32_t now) {
    switch (host.sender.state) {
    case Idle: return frontMessage(host).bytes != nullptr;
    case Ready: return true;
    case Pausing: return isDue(host.sender.dueAt, now);
    default: return false;
    }
}

const uint8_t* readyPacket(HostLinkHost& host, uint16_t* length) {
    if (host.sender.state == Idle) {
        host.sender.frameId = drawFrameId(host.sender);
        host.sender.packetIndex = 0;
        cutPacket(host);
    }
    host.sender.state = Ready;
    *length = host.sender.length;
    return host.setup.packet;
}

void packetBegun(HostLinkHost& host) {
    host.sender.state = Sending;
}

void packetSent(HostLinkHost& host, uint32_t now) {
    if (host.sender.state != Sending) return;
    host.sender.state = InFlight;
    host.sender.dueAt = now + host.setup.responseTimeout;
    ++host.sender.attempt;
}

void takeResponse(HostLinkHost& host, AcknowledgeType answer, uint32_t now) {
    if (host.sender.state != InFlight) {
        ++host.counts.strays;
        return;
    }
    switch (answer) {
    case AcknowledgeType::Ack: acknowledged(host); break;
    case AcknowledgeType::Nack: refused(host, now); break;
    case AcknowledgeType::AckNack: giveUp(host, OUT_Error); break;
    default: giveUp(host, OUT_Neither); break;
    }
}

bool advanceSender(HostLinkHost& host, uint32_t now) {
    if (host.sender.state != InFlight || !isDue(host.sender.dueAt, now)) return false;
    hand<uint8_t>(host.sender.heard, 0);
    giveUp(host, OUT_NoResponse);
    return true;
}

uint32_t senderWait(const HostLinkHost& host, uint32_t now) {
    const bool hasDeadline = host.sender.state == InFlight || host.sender.state == Pausing;
    return hasDeadline ? timeUntil(host.sender.dueAt, now) : HOSTLINK_HOST_NEVER;
}

void resetSender(HostLinkHost& host) {
    host.sender.state = Idle;
    memset(host.sender.spoiled, 0, sizeof host.sender.spoiled);
    while (frontMessage(host).bytes != nullptr) finishFront(host, OUT_Reset);
}

} // namespace hostlink
