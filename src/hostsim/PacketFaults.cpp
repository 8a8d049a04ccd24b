#include "PacketFaults.h"

#include <host/Acknowledgement.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>

namespace hostsim {

namespace {

ByteArray responseTo(const ByteArray& packet, AcknowledgeType type) {
    return HostLinkRspFrame::create(hostLinkPacketGetFrameId(packet.data()), type);
}

ByteArray answerOf(AnswerFault fault, const ByteArray& packet) {
    switch (fault) {
    case AnswerFault::AckNack: return responseTo(packet, AcknowledgeType::AckNack);
    case AnswerFault::Neither: return responseTo(packet, AcknowledgeType::None);
    case AnswerFault::Nack: return responseTo(packet, AcknowledgeType::Nack);
    default: return {};
    }
}

} // namespace

Passage PacketFaults::pass(const ByteArray& packet) {
    switch (HostLinkPacket::frameType(packet)) {
    case FRT_Message: return passMessage(packet);
    case FRT_Response: return {passResponse(packet), {}, Time::zero()};
    case FRT_Reset:
        attempted.clear();
        inFlight = false;
        break;
    default: break;
    }
    return {packet, {}, Time::zero()};
}

Passage PacketFaults::passMessage(const ByteArray& packet) {
    // When it has completed a message, the next one with the same bytes is a new packet.
    if (host.counts().messagesReceived != messagesBefore) attempted.clear();
    messagesBefore = host.counts().messagesReceived;
    ++messagePackets;
    attempt = packet == attempted ? attempt + 1 : 1;
    attempted = packet;
    const AnswerFault fault = host.faults().answerFault(messagePackets, attempt);
    const Time delay = host.faults().answerDelay(messagePackets);
    if (fault == AnswerFault::None) return {packet, {}, delay};
    hostlink::notePacket(host.engine(), packet.data());
    return {{}, answerOf(fault, packet), delay};
}

ByteArray PacketFaults::passResponse(const ByteArray& packet) {
    if (!isRepeated(hostLinkFrameRspDeserialize(packet.data()))) return packet;
    repeated = true;
    return responseTo(packet, AcknowledgeType::Nack);
}

// Only where the engine will send the packet again.
bool PacketFaults::isRepeated(AcknowledgeType answer) {
    const bool isAnswer = inFlight && host.counts().missingResponses == missingBefore;
    inFlight = false;
    if (!isAnswer || answer != AcknowledgeType::Ack || repeated) return false;
    return timesSent < host.engine().setup.attempts && host.faults().repeats(ownPackets);
}

uint64_t PacketFaults::numberOf(const ByteArray& own) {
    if (own != current) {
        current = own;
        timesSent = 0;
        repeated = false;
        ++ownPackets;
    }
    return ownPackets;
}

void PacketFaults::sent(const ByteArray& own) {
    numberOf(own);
    ++timesSent;
    inFlight = true;
    missingBefore = host.counts().missingResponses;
}

} // namespace hostsim
