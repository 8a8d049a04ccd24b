#include "OutgoingMessages.h"

namespace hostsim {

namespace {

constexpr int maxPackets = 256; // a packet id has 8 bits

} // namespace

OutgoingMessages::OutgoingMessages(const OutgoingOptions& outgoing, FaultInjector& injector, HostCounts& hostCounts)
    : options(outgoing), faults(injector), counts(hostCounts) {}

void OutgoingMessages::push(const ByteArray& message, Time now) {
    if (queue.size() >= options.maxQueued) {
        ++counts.messagesGivenUp;
        return;
    }
    queue.push_back(message);
    if (queue.size() == 1) beginMessage(now);
}

const ByteArray* OutgoingMessages::packet(Time now) const {
    return queue.empty() || inFlight || now < readyAt ? nullptr : &current;
}

void OutgoingMessages::packetSent(Time now) {
    inFlight = true;
    ++attempt;
    answerDueAt = now + options.responseTimeout;
    ++counts.packetsSent;
    if (trace) trace(TraceEvent::PacketSent, current);
}

bool OutgoingMessages::answered(AcknowledgeType answer, Time now) {
    if (!inFlight) return false;
    inFlight = false;
    answering = true;
    switch (answer) {
    case AcknowledgeType::Ack: acknowledged(now); break;
    case AcknowledgeType::Nack: refused(now); break;
    default: giveUp(now); break;
    }
    return true;
}

void OutgoingMessages::acknowledged(Time now) {
    if (!repeating && faults.repeats(packetsMade)) {
        repeating = true;
        attempt = 0;
        readyAt = now;
        return;
    }
    ++packetIndex;
    if (packetIndex < frame->packetCount()) {
        makePacket(now);
        return;
    }
    ++counts.messagesSent;
    if (trace) trace(TraceEvent::MessageSent, queue.front());
    endMessage(now);
}

void OutgoingMessages::refused(Time now) {
    if (attempt >= options.attempts) {
        giveUp(now);
        return;
    }
    readyAt = now + options.retryDelay;
}

// The module may hold a part of the frame for ever, and would put it before the next frame with this id.
void OutgoingMessages::giveUp(Time now) {
    if (frame->packetCount() > 1) spoiled.set(frameId);
    ++counts.messagesGivenUp;
    endMessage(now);
}

void OutgoingMessages::endMessage(Time now) {
    queue.pop_front();
    beginMessage(now);
}

void OutgoingMessages::beginMessage(Time now) {
    while (!queue.empty() && !cutFront(now)) {
        ++counts.messagesGivenUp;
        queue.pop_front();
    }
}

// False when the message is empty, or too long for this packet size.
bool OutgoingMessages::cutFront(Time now) {
    frameId = drawFrameId();
    frame.emplace(queue.front(), frameId, options.maxPacketSize);
    packetIndex = 0;
    const int count = frame->packetCount();
    if (count < 1 || count > maxPackets || frame->serializePacket(0).empty()) return false;
    makePacket(now);
    return true;
}

void OutgoingMessages::makePacket(Time now) {
    current = frame->serializePacket(packetIndex);
    ++packetsMade;
    attempt = 0;
    repeating = false;
    readyAt = now;
}

uint8_t OutgoingMessages::drawFrameId() {
    if (spoiled.all()) spoiled.reset();
    while (spoiled.test(nextFrameId)) ++nextFrameId;
    return nextFrameId++;
}

void OutgoingMessages::advance(Time now) {
    if (!inFlight || now < answerDueAt) return;
    inFlight = false;
    answering = false;
    ++counts.missingResponses;
    giveUp(now);
}

std::optional<Time> OutgoingMessages::nextDeadline(Time now) const {
    if (queue.empty()) return std::nullopt;
    if (inFlight) return answerDueAt;
    if (now < readyAt) return readyAt;
    return std::nullopt;
}

void OutgoingMessages::reset() {
    queue.clear();
    inFlight = false;
    spoiled.reset();
}

} // namespace hostsim
