#include "HostEndpoint.h"

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>

namespace hostsim {

namespace {

ByteArray responseTo(const ByteArray& packet, AcknowledgeType type) {
    return HostLinkRspFrame::create(hostLinkPacketGetFrameId(packet.data()), type);
}

Answer refusal(unsigned char frameId) {
    return {HostLinkRspFrame::create(frameId, AcknowledgeType::Nack), Time::zero()};
}

} // namespace

HostEndpoint::HostEndpoint(const HostOptions& options)
    : injector(options.faults, totals),
      incoming(options.repeatWindow),
      outgoing(options.outgoing, injector, totals),
      app(options.states) {}

void HostEndpoint::send(const std::vector<ByteArray>& messages, Time now) {
    for (const ByteArray& message : messages) outgoing.push(message, now);
}

void HostEndpoint::setTrace(const Trace& observer) {
    trace = observer;
    outgoing.setTrace(observer);
}

void HostEndpoint::notePacketReceived(const ByteArray& packet) {
    ++totals.packetsReceived;
    incoming.heard(packet);
    if (trace) trace(TraceEvent::PacketReceived, packet);
}

void HostEndpoint::noteAnswerSent(const ByteArray& frame) {
    ++totals.packetsSent;
    if (HostLinkPacket::frameType(frame) == FRT_Response) {
        const AcknowledgeType type = hostLinkFrameRspDeserialize(frame.data());
        if (type == AcknowledgeType::Ack) ++totals.acksSent;
        if (type == AcknowledgeType::Nack) ++totals.nacksSent;
    }
    if (trace) trace(TraceEvent::PacketSent, frame);
}

Answer HostEndpoint::takePacket(const ByteArray& packet, Time now) {
    if (!HostLinkPacket::verify(packet)) {
        ++totals.badPackets;
        if (trace) trace(TraceEvent::BadBytesReceived, packet);
        return refusal(0);
    }
    notePacketReceived(packet);
    outgoing.moduleHeard();
    switch (HostLinkPacket::frameType(packet)) {
    case FRT_Message: return takeMessagePacket(packet, now);
    case FRT_Response: takeResponse(packet, now); return {};
    case FRT_Reset: takeReset(); return {responseTo(packet, AcknowledgeType::Ack), Time::zero()};
    default: return refusal(hostLinkPacketGetFrameId(packet.data()));
    }
}

Answer HostEndpoint::takeMessagePacket(const ByteArray& packet, Time now) {
    ++messagePackets;
    attempt = packet == attempted ? attempt + 1 : 1;
    attempted = packet;
    const AnswerFault fault = injector.answerFault(messagePackets, attempt);
    const Time delay = injector.answerDelay(messagePackets);
    switch (fault) {
    case AnswerFault::Silence: return {};
    case AnswerFault::AckNack: return {responseTo(packet, AcknowledgeType::AckNack), delay};
    case AnswerFault::Neither: return {responseTo(packet, AcknowledgeType::None), delay};
    case AnswerFault::Nack: return {responseTo(packet, AcknowledgeType::Nack), delay};
    case AnswerFault::None: break;
    }
    return {responseTo(packet, takeGoodPacket(packet, now)), delay};
}

AcknowledgeType HostEndpoint::takeGoodPacket(const ByteArray& packet, Time now) {
    const IncomingFrames::Result result = incoming.take(packet, now);
    totals.framesAbandoned = incoming.abandoned();
    switch (result) {
    case IncomingFrames::Result::Refused: return AcknowledgeType::Nack;
    case IncomingFrames::Result::Duplicate: ++totals.duplicatePackets; return AcknowledgeType::Ack;
    case IncomingFrames::Result::Completed:
        attempted.clear(); // the next one with the same bytes is a new packet
        takeMessage(incoming.message(), now);
        return AcknowledgeType::Ack;
    case IncomingFrames::Result::Added: break;
    }
    return AcknowledgeType::Ack;
}

void HostEndpoint::takeMessage(const ByteArray& message, Time now) {
    ++totals.messagesReceived;
    if (trace) trace(TraceEvent::MessageReceived, message);
    send(HostApplication::burst(injector.burst()), now);
    const std::vector<ByteArray> answers = app.handle(message);
    for (const ByteArray& answer : answers)
        if (HostLinkMessage::messageId(answer) == MSG_UnsupportedMessageResponse) ++totals.unsupportedMessages;
    send(answers, now);
}

void HostEndpoint::takeResponse(const ByteArray& packet, Time now) {
    const AcknowledgeType type = hostLinkFrameRspDeserialize(packet.data());
    if (type == AcknowledgeType::Ack) ++totals.acksReceived;
    if (type == AcknowledgeType::Nack) ++totals.nacksReceived;
    if (!outgoing.answered(type, now)) ++totals.strayResponses;
}

void HostEndpoint::takeReset() {
    incoming.reset();
    totals.framesAbandoned = incoming.abandoned();
    outgoing.reset();
    app.moduleReset();
    attempted.clear();
}

} // namespace hostsim
