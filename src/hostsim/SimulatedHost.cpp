#include "SimulatedHost.h"

#include <algorithm>
#include <stdexcept>

#include <host/Sender.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkPacket.h>

#include "EngineTime.h"

namespace hostsim {

namespace {

// For one message at a time.
constexpr uint32_t queueSize = HOSTLINK_HOST_QUEUE_SIZE(1, SimulatedHost::longestMessage);

// Not set to zero: pages that are never used are never there.
std::unique_ptr<uint8_t[]> block(size_t size) {
    return std::unique_ptr<uint8_t[]>(new uint8_t[size]);
}

void add(uint64_t& total, uint32_t now, uint32_t before) {
    total += static_cast<uint32_t>(now - before); // the engine's counts wrap
}

} // namespace

SimulatedHost::SimulatedHost(const HostOptions& options)
    : injector(options.faults, totals),
      app(options.states),
      frames(new HostLinkHostFrame[openFrames]),
      messageStorage(block(HOSTLINK_HOST_MESSAGES_SIZE(size_t{openFrames}, longestMessage))),
      queueStorage(block(queueSize)),
      packetStorage(block(static_cast<size_t>(options.outgoing.maxPacketSize))),
      maxQueued(options.outgoing.maxQueued) {
    setUp(options);
}

void SimulatedHost::setUp(const HostOptions& options) {
    HostLinkHostSetup setup;
    hostLinkHostDefaults(&setup);
    setup.events = {this, onMessage, onReset, onOutcome};
    setup.frames = frames.get();
    setup.openFrames = openFrames;
    setup.messages = messageStorage.get();
    setup.messageSize = longestMessage;
    setup.queue = queueStorage.get();
    setup.queueSize = queueSize;
    setup.packet = packetStorage.get();
    setup.packetSize = static_cast<uint16_t>(options.outgoing.maxPacketSize);
    setup.responseTimeout = engineSpan<uint32_t>(options.outgoing.responseTimeout);
    setup.retryDelay = engineSpan<uint16_t>(options.outgoing.retryDelay);
    setup.attempts = static_cast<uint8_t>(std::min(options.outgoing.attempts, 255U));
    setup.repeatWindow = engineSpan<uint16_t>(options.repeatWindow);
    if (hostLinkHostInit(&host, &setup) != HOSTLINK_SUCCESS) throw std::invalid_argument("packets of 11 bytes or more");
}

void SimulatedHost::onMessage(void* context, const uint8_t* message, uint32_t length) {
    static_cast<SimulatedHost*>(context)->takeMessage(ByteArray(message, message + length));
}

void SimulatedHost::onReset(void* context) {
    static_cast<SimulatedHost*>(context)->startOver();
}

void SimulatedHost::onOutcome(void* context, uint32_t /*ticket*/, HostLinkHostOutcome result) {
    static_cast<SimulatedHost*>(context)->outcome = result;
}

void SimulatedHost::send(const std::vector<ByteArray>& messages) {
    for (const ByteArray& message : messages) {
        if (queue.size() >= maxQueued) {
            ++totals.messagesGivenUp;
            app.finished(message, false);
        } else {
            queue.push_back(message);
        }
    }
    handOver();
}

void SimulatedHost::handOver() {
    while (!handedOver && !queue.empty()) {
        const ByteArray& message = queue.front();
        const auto length = static_cast<uint32_t>(message.size());
        handedOver = hostLinkHostSend(&host, message.data(), length, nullptr) == HOSTLINK_SUCCESS;
        if (handedOver) return;
        ++totals.messagesGivenUp;
        dropFirst(false);
    }
}

void SimulatedHost::dropFirst(bool acknowledged) {
    const ByteArray message = std::move(queue.front());
    queue.pop_front();
    app.finished(message, acknowledged);
}

void SimulatedHost::settle() {
    if (outcome) finishMessage(*outcome);
    while (hostLinkHostDeliver(&host) != 0) {
    }
    handOver();
    readCounts();
}

void SimulatedHost::finishMessage(HostLinkHostOutcome result) {
    if (result == OUT_Sent) {
        ++totals.messagesSent;
        if (trace) trace(TraceEvent::MessageSent, queue.front());
    } else if (result != OUT_Reset) {
        ++totals.messagesGivenUp;
    }
    if (result == OUT_NoResponse) ++totals.missingResponses;
    outcome.reset();
    handedOver = false;
    dropFirst(result == OUT_Sent);
}

void SimulatedHost::takeMessage(const ByteArray& message) {
    ++totals.messagesReceived;
    if (trace) trace(TraceEvent::MessageReceived, message);
    send(HostApplication::burst(injector.burst()));
    const std::vector<ByteArray> answers = app.handle(message);
    for (const ByteArray& answer : answers) {
        if (HostLinkMessage::messageId(answer) == MSG_UnsupportedMessageResponse) ++totals.unsupportedMessages;
    }
    send(answers);
}

// What the engine had it has dropped itself.
void SimulatedHost::startOver() {
    while (!queue.empty()) dropFirst(false);
    app.moduleReset();
}

void SimulatedHost::readCounts() {
    const HostLinkHostCounts& now = host.counts;
    add(totals.packetsReceived, now.packets, countsRead.packets);
    add(totals.badPackets, now.badPackets, countsRead.badPackets);
    add(totals.duplicatePackets, now.repetitions, countsRead.repetitions);
    add(totals.framesAbandoned, now.abandoned, countsRead.abandoned);
    add(totals.strayResponses, now.strays, countsRead.strays);
    countsRead = now;
}

ByteArray SimulatedHost::readyPacket(Time now) {
    if (!hostlink::isPacketReady(host, wholeMilliseconds(now))) return {};
    uint16_t length = 0;
    const uint8_t* bytes = hostlink::readyPacket(host, &length);
    return ByteArray(bytes, bytes + length);
}

void SimulatedHost::noteReceived(const ByteArray& packet) {
    if (HostLinkPacket::frameType(packet) == FRT_Response) {
        const AcknowledgeType type = hostLinkFrameRspDeserialize(packet.data());
        if (type == AcknowledgeType::Ack) ++totals.acksReceived;
        if (type == AcknowledgeType::Nack) ++totals.nacksReceived;
    }
    if (trace) trace(TraceEvent::PacketReceived, packet);
}

void SimulatedHost::noteBadBytes(const ByteArray& bytes) {
    if (trace) trace(TraceEvent::BadBytesReceived, bytes);
}

void SimulatedHost::noteSent(const ByteArray& packet) {
    ++totals.packetsSent;
    if (HostLinkPacket::frameType(packet) == FRT_Response) {
        const AcknowledgeType type = hostLinkFrameRspDeserialize(packet.data());
        if (type == AcknowledgeType::Ack) ++totals.acksSent;
        if (type == AcknowledgeType::Nack) ++totals.nacksSent;
    }
    if (trace) trace(TraceEvent::PacketSent, packet);
}

} // namespace hostsim
