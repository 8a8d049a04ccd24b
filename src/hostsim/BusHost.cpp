#include "BusHost.h"

#include <algorithm>
#include <utility>

#include <hostlink/HostLinkIrqFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>

namespace hostsim {

namespace {

// A transaction may carry more bytes than its packet.
ByteArray withoutTail(const ByteArray& bytes) {
    if (!HostLinkPacket::verify(bytes)) return bytes;
    return ByteArray(bytes.begin(), bytes.begin() + hostLinkPacketGetLength(bytes.data()));
}

} // namespace

BusHost::BusHost(HostEndpoint& host, const BusOptions& busOptions) : endpoint(host), options(busOptions) {}

void BusHost::write(const ByteArray& bytes, Time now) {
    endpoint.mutableCounts().bytesReceived += bytes.size();
    reply = Reply{};
    const ByteArray packet = withoutTail(endpoint.faults().toHost(bytes));
    if (HostLinkPacket::verify(packet) && HostLinkPacket::frameType(packet) == FRT_Irq) {
        takeIrq(packet, now);
        return;
    }
    Answer answer = endpoint.takePacket(packet, now);
    if (answer.frame.empty()) return;
    reply.frame = std::move(answer.frame);
    reply.due = now + answer.delay;
    reply.lateTransfers = endpoint.faults().lateTransfers();
}

void BusHost::takeIrq(const ByteArray& packet, Time now) {
    endpoint.notePacketReceived(packet);
    endpoint.sending().moduleHeard();
    lastIrqAt = now;
    reply.due = now;
    reply.lateTransfers = endpoint.faults().lateTransfers();
    const uint8_t irqId = hostLinkPacketGetFrameId(packet.data());
    const ByteArray* pending = endpoint.sending().packet(now);
    if (pending == nullptr) {
        reply.frame = HostLinkRspFrame::create(irqId, AcknowledgeType::None);
        return;
    }
    if (asked.packetNumber != endpoint.sending().packetNumber()) asked = {endpoint.sending().packetNumber(), 0, 0};
    ++asked.times;
    if (endpoint.faults().refusesIrq(asked.times)) {
        reply.frame = HostLinkRspFrame::create(irqId, AcknowledgeType::Nack);
        return;
    }
    bool ok = false;
    const unsigned room = HostLinkIrqFrame::parse(packet, &ok);
    const bool fits = pending->size() <= room;
    // On request only into a read that holds the whole announcement: half of one would be bytes that do not verify.
    const bool mayAnnounce = room >= HOSTLINK_IRQ_FRAME_SIZE;
    if (!fits || (mayAnnounce && endpoint.faults().announcesSize(asked.announced))) {
        ++asked.announced;
        reply.frame = HostLinkIrqFrame::create(irqId, static_cast<unsigned>(pending->size()));
        return;
    }
    reply.frame = *pending;
    reply.isOwnPacket = true;
    reply.garbage = endpoint.faults().garbage(endpoint.sending().packetNumber());
}

ByteArray BusHost::read(size_t count, Time now) {
    ByteArray bytes = transfer(now);
    bytes.resize(count, idleByte);
    bytes = endpoint.faults().toModule(bytes);
    bytes.resize(count, idleByte);
    endpoint.mutableCounts().bytesSent += count;
    return bytes;
}

// What the host has for this read transfer; empty when the bus stays idle.
ByteArray BusHost::transfer(Time now) {
    if (reply.frame.empty() || now < reply.due) return {};
    if (reply.lateTransfers > 0) {
        --reply.lateTransfers;
        return {};
    }
    if (!reply.garbage.empty()) return std::exchange(reply.garbage, {});
    if (!reply.handedOut) {
        reply.handedOut = true;
        if (reply.isOwnPacket)
            endpoint.sending().packetSent(now);
        else
            endpoint.noteAnswerSent(reply.frame);
    }
    return reply.frame;
}

void BusHost::advance(Time now) {
    endpoint.sending().advance(now);
}

bool BusHost::interruptLow(Time now) const {
    if (endpoint.sending().packet(now) == nullptr) return false;
    if (options.interruptRepeat <= Time::zero()) return true;
    return sinceLastEdge(now) < options.interruptRepeat;
}

// Time since the line has gone low most recently, or would have, counting the gap before the next edge in.
Time BusHost::sinceLastEdge(Time now) const {
    const Time since = std::max(endpoint.sending().readySince(), lastIrqAt);
    return (now - since) % (options.interruptRepeat + options.interruptGap);
}

std::optional<Time> BusHost::nextDeadline(Time now) const {
    const std::optional<Time> next = endpoint.sending().nextDeadline(now);
    if (endpoint.sending().packet(now) == nullptr || options.interruptRepeat <= Time::zero()) {
        if (!next) return next;
        return std::max(*next, now);
    }
    const Time since = sinceLastEdge(now);
    const bool low = since < options.interruptRepeat;
    return now + (low ? options.interruptRepeat : options.interruptRepeat + options.interruptGap) - since;
}

} // namespace hostsim
