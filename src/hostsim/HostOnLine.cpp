#include "HostOnLine.h"

#include <algorithm>
#include <utility>

#include <host/Sender.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>

#include "EngineTime.h"

namespace hostsim {

namespace {

constexpr unsigned char startMark[] = {HOSTLINK_SOP & 0xFF, HOSTLINK_SOP >> 8};

} // namespace

HostOnLine::HostOnLine(SimulatedHost& simulatedHost, const LineOptions& options)
    : host(simulatedHost),
      packetFaults(simulatedHost),
      cutter(options.packetTimeout),
      received(new uint8_t[SimulatedHost::longestPacket]) {
    HostLinkHostUartSetup setup;
    hostLinkHostUartDefaults(&setup);
    setup.received = received.get();
    setup.receivedSize = SimulatedHost::longestPacket;
    hostLinkHostUartInit(&uart, &host.engine(), &setup);
}

void HostOnLine::receive(const ByteArray& bytes, Time now) {
    host.mutableCounts().bytesReceived += bytes.size();
    cutter.add(host.faults().toHost(bytes), now, [&](const ByteArray& packet) { take(packet, now); });
    countSkipped();
}

void HostOnLine::advance(Time now) {
    cutter.expire(now, [&](const ByteArray& packet) { take(packet, now); });
    countSkipped();
    hostLinkHostUartAdvance(&uart, wholeMilliseconds(now));
    host.settle();
}

void HostOnLine::countSkipped() {
    host.mutableCounts().bytesSkipped += static_cast<uint32_t>(cutter.skipped() - skippedRead);
    skippedRead = cutter.skipped();
}

void HostOnLine::take(const ByteArray& packet, Time now) {
    if (packet.empty()) {
        takeBadBytes(now);
    } else {
        takePacket(packet, now);
    }
}

// The engine gets a start mark with an impossible length, which is bad at once, whatever was bad here.
void HostOnLine::takeBadBytes(Time now) {
    host.noteBadBytes(ByteArray(std::begin(startMark), std::end(startMark)));
    ByteArray bad(HOSTLINK_PACKET_HEADER_SIZE, 0);
    std::copy(std::begin(startMark), std::end(startMark), bad.begin());
    give(bad, now);
    queueAnswer(fetch(HOSTLINK_RSP_FRAME_SIZE, now), now);
}

void HostOnLine::takePacket(const ByteArray& packet, Time now) {
    host.noteReceived(packet);
    Passage passage = packetFaults.pass(packet);
    if (passage.packet.empty()) {
        host.settle();
        queueAnswer(std::move(passage.answer), now + passage.delay);
        return;
    }
    give(passage.packet, now);
    if (HostLinkPacket::frameType(packet) == FRT_Response) return; // the one kind that is not answered
    queueAnswer(fetch(HOSTLINK_RSP_FRAME_SIZE, now), now + passage.delay);
}

void HostOnLine::give(const ByteArray& bytes, Time now) {
    hostLinkHostUartReceive(&uart, bytes.data(), static_cast<uint32_t>(bytes.size()), wholeMilliseconds(now));
    host.settle();
}

// What the engine puts onto the line next; an answer, if it has one.
ByteArray HostOnLine::fetch(size_t room, Time now) {
    ByteArray bytes(room);
    bytes.resize(hostLinkHostUartTransmit(&uart, bytes.data(), static_cast<uint16_t>(room), wholeMilliseconds(now)));
    return bytes;
}

void HostOnLine::queueAnswer(ByteArray frame, Time due) {
    if (frame.empty()) return;
    if (!answers.empty()) due = std::max(due, answers.back().due);
    answers.push_back({due, std::move(frame)});
}

ByteArray HostOnLine::nextWrite(Time now) {
    while (writes.empty() && makeWrites(now)) {
    } // noise may leave nothing of a packet
    if (writes.empty()) return {};
    ByteArray bytes = std::move(writes.front());
    writes.pop_front();
    return bytes;
}

// False when there is nothing to send by now.
bool HostOnLine::makeWrites(Time now) {
    return answers.empty() ? writePacket(now) : writeAnswer(now);
}

bool HostOnLine::writeAnswer(Time now) {
    if (now < answers.front().due) return false;
    host.noteSent(answers.front().frame);
    putOnLine(answers.front().frame, {});
    answers.pop_front();
    return true;
}

bool HostOnLine::writePacket(Time now) {
    const ByteArray packet = fetch(host.engine().setup.packetSize, now);
    if (packet.empty()) return false;
    host.noteSent(packet);
    putOnLine(packet, host.faults().garbage(packetFaults.numberOf(packet)));
    packetFaults.sent(packet);
    return true;
}

void HostOnLine::putOnLine(const ByteArray& packet, const ByteArray& before) {
    ByteArray bytes = before;
    bytes.insert(bytes.end(), packet.begin(), packet.end());
    bytes = host.faults().toModule(bytes);
    host.mutableCounts().bytesSent += bytes.size();
    if (bytes.empty()) return;
    if (!host.faults().splitsWrites()) {
        writes.push_back(std::move(bytes));
        return;
    }
    for (const unsigned char byte : bytes) writes.push_back({byte});
}

std::optional<Time> HostOnLine::nextDeadline(Time now) const {
    std::optional<Time> next = cutter.nextDeadline(now);
    const auto consider = [&next](std::optional<Time> time) {
        if (time && (!next || *time < *next)) next = time;
    };
    if (!writes.empty()) consider(now);
    if (!answers.empty()) consider(answers.front().due);
    const uint32_t moment = wholeMilliseconds(now);
    if (!hostlink::isPacketReady(host.engine(), moment)) {
        consider(momentAfter(now, hostlink::senderWait(host.engine(), moment)));
    } else if (answers.empty()) { // else it waits behind them
        consider(now);
    }
    return next;
}

} // namespace hostsim
