#include "Acknowledgement.h"

#include "FramePool.h"
#include "Handover.h"
#include "Repetition.h"
#include "Sender.h"

namespace hostlink {

namespace {

AcknowledgeType takeMessagePacket(HostLinkHost& host, const uint8_t* packet, uint16_t length, uint32_t now) {
    if (isRepetition(host.last, packet, length, now, host.setup.repeatWindow)) {
        ++host.counts.repetitions;
        return AcknowledgeType::Ack;
    }
    if (addToPool(host, packet, length) == Addition::Refused) {
        ++host.counts.refused;
        return AcknowledgeType::Nack;
    }
    rememberTaken(host.last, packet, length, now);
    return AcknowledgeType::Ack;
}

void startOver(HostLinkHost& host) {
    resetPool(host);
    resetSender(host);
    host.last.length = 0;
}

} // namespace

void notePacket(HostLinkHost& host, const uint8_t* packet) {
    ++host.counts.packets;
    hand<uint8_t>(host.sender.heard, 1);
    noteHeard(host.last, packet);
}

Answer takePacket(HostLinkHost& host, const uint8_t* packet, uint16_t length, uint32_t now) {
    notePacket(host, packet);
    const uint8_t frameId = hostLinkPacketGetFrameId(packet);
    switch (hostLinkPacketGetFrameType(packet)) {
    case FRT_Message: return {true, frameId, takeMessagePacket(host, packet, length, now)};
    case FRT_Response:
        takeResponse(host, hostLinkFrameRspDeserialize(packet), now);
        return {false, 0, AcknowledgeType::None};
    case FRT_Reset: startOver(host); return {true, frameId, AcknowledgeType::Ack};
    default: return {true, frameId, AcknowledgeType::Nack};
    }
}

Answer refuseBytes(HostLinkHost& host) {
    ++host.counts.badPackets;
    return {true, 0, AcknowledgeType::Nack};
}

bool advanceHost(HostLinkHost& host, uint32_t now) {
    forgetOld(host.last, now, host.setup.repeatWindow);
    return advanceSender(host, now);
}

} // namespace hostlink
