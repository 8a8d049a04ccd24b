#include "Module.h"

#include <algorithm>

#include "Packets.h"

namespace hostcheck {

void Module::take(const ByteArray& packet) {
    switch (hostLinkPacketGetFrameType(packet.data())) {
    case FRT_Response:
        lastResponse = packet;
        answers.push_back(hostLinkFrameRspDeserialize(packet.data()));
        break;
    case FRT_Message: takeOwn(packet); break;
    default: odd.push_back(packet); break;
    }
}

namespace {

bool isEvent(const ByteArray& packet) {
    uint16_t size = 0;
    const uint8_t* payload = hostLinkPacketGetData(packet.data(), &size);
    return hostLinkPacketGetPacketId(packet.data()) == 0 && hostLinkPacketIsLast(packet.data()) != 0 &&
           hostLinkMessageId(payload, size) == MSG_InputEvent;
}

} // namespace

void Module::noteFrame(const ByteArray& packet) {
    const uint8_t id = hostLinkPacketGetFrameId(packet.data());
    const bool isRepeated = wasRefused && lastOwn == packet;
    if (!isRepeated) ownFrames.push_back(id);
    lastOwn = packet;
}

void Module::takeOwn(const ByteArray& packet) {
    if (hostLinkPacketGetPacketId(packet.data()) == 0) noteFrame(packet);
    if (isEvent(packet)) {
        ++eventsAnswered;
        wasRefused = false;
        link.put(responsePacket(nextId(), AcknowledgeType::Ack), false);
        return;
    }
    Answer answer = AcknowledgeType::Ack;
    if (!planned.empty()) {
        answer = planned.front();
        planned.pop_front();
    }
    wasRefused = answer == AcknowledgeType::Nack;
    own.push_back({link.now(), packet, answer});
    if (answer) link.put(responsePacket(nextId(), *answer), false);
    if (answer == AcknowledgeType::Ack) append(packet);
}

void Module::append(const ByteArray& packet) {
    uint16_t size = 0;
    const uint8_t* payload = hostLinkPacketGetData(packet.data(), &size);
    ByteArray& part = parts[hostLinkPacketGetFrameId(packet.data())];
    part.insert(part.end(), payload, payload + size);
    if (hostLinkPacketIsLast(packet.data()) == 0) return;
    inbox.push_back(part);
    parts.erase(hostLinkPacketGetFrameId(packet.data()));
}

// False when the time is over.
bool Module::takeNext(Time until) {
    const auto packet = link.packet(until);
    if (packet) take(*packet);
    return packet.has_value();
}

Module::Reply Module::send(const ByteArray& bytes, Time patience) {
    strays.insert(strays.end(), answers.begin(), answers.end());
    answers.clear();
    const Time began = link.now();
    link.put(bytes, true);
    const Time line = link.wireTime(bytes.size());
    const Answer answer = awaitAnswer(waits.answer + line + patience);
    return {answer, std::max(link.now() - began - line, Time(0))};
}

Answer Module::awaitAnswer() {
    return awaitAnswer(waits.answer);
}

Answer Module::awaitAnswer(Time span) {
    const Time until = link.now() + span;
    while (answers.empty()) {
        if (!takeNext(until)) return std::nullopt;
    }
    const AcknowledgeType answer = answers.front();
    answers.pop_front();
    return answer;
}

bool Module::sendPackets(const std::vector<ByteArray>& packets) {
    for (const ByteArray& packet : packets) {
        Answer answer;
        for (unsigned attempt = 0; attempt < attempts; ++attempt) {
            if (attempt != 0) listen(waits.retry);
            answer = send(packet).answer;
            if (answer != AcknowledgeType::Nack) break;
        }
        if (answer != AcknowledgeType::Ack) return false;
    }
    return true;
}

bool Module::sendMessage(const ByteArray& message, uint16_t packetSize) {
    return sendPackets(cut(nextId(), message, packetSize));
}

void Module::listen(Time span) {
    const Time until = link.now() + span;
    while (takeNext(until)) {
    }
    strays.insert(strays.end(), answers.begin(), answers.end());
    answers.clear();
}

bool Module::awaitOwn(size_t count, Time span) {
    const Time until = link.now() + span;
    while (own.size() < count) {
        if (!takeNext(until)) return false;
    }
    return true;
}

std::optional<ByteArray> Module::nextMessage(Time span) {
    const Time until = link.now() + span;
    while (inbox.empty()) {
        if (!takeNext(until)) return std::nullopt;
    }
    ByteArray message = inbox.front();
    inbox.pop_front();
    return message;
}

void Module::settle(Time quiet, Time longest) {
    const Time end = link.now() + longest;
    while (link.now() < end && takeNext(std::min(link.now() + quiet, end))) {
    }
}

void Module::respond(AcknowledgeType type) {
    link.put(responsePacket(nextId(), type), false);
    if (own.empty() || own.back().answered) return;
    own.back().answered = type;
    if (type == AcknowledgeType::Ack) append(own.back().bytes);
}

void Module::forget() {
    own.clear();
    inbox.clear();
    strays.clear();
    odd.clear();
    ownFrames.clear();
    eventsAnswered = 0;
    lastOwn.clear();
    planned.clear();
    answers.clear();
    parts.clear();
    link.takeSkipped();
    link.forget();
}

} // namespace hostcheck
