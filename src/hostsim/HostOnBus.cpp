#include "HostOnBus.h"

#include <algorithm>
#include <utility>

#include <hostlink/HostLinkIrqFrame.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>

#include "EngineTime.h"

namespace hostsim {

namespace {

// A transaction may carry more bytes than its packet. Empty: there is none at its beginning.
ByteArray packetIn(const ByteArray& bytes) {
    if (!HostLinkPacket::verify(bytes)) return {};
    return ByteArray(bytes.begin(), bytes.begin() + hostLinkPacketGetLength(bytes.data()));
}

} // namespace

HostOnBus::HostOnBus(SimulatedHost& simulatedHost, const BusOptions& options)
    : host(simulatedHost), packetFaults(simulatedHost), received(new uint8_t[SimulatedHost::longestPacket]) {
    HostLinkHostBusSetup setup;
    hostLinkHostBusDefaults(&setup);
    setup.received = received.get();
    setup.receivedSize = SimulatedHost::longestPacket;
    setup.interruptRepeat = engineSpan<uint16_t>(options.interruptRepeat);
    setup.interruptGap = std::max(engineSpan<uint16_t>(options.interruptGap), uint16_t{1});
    hostLinkHostBusInit(&bus, &host.engine(), &setup);
    if (options.byteByByte) peripheral.emplace(bus);
}

void HostOnBus::write(const ByteArray& bytes, Time now) {
    host.mutableCounts().bytesReceived += bytes.size();
    const ByteArray heard = host.faults().toHost(bytes);
    if (heard.empty()) return;
    reply = Reply{};
    reply.due = now;
    const ByteArray packet = packetIn(heard);
    if (packet.empty()) {
        host.noteBadBytes(heard);
        give(heard, now);
        reply.lateTransfers = host.faults().lateTransfers();
        return;
    }
    host.noteReceived(packet);
    if (HostLinkPacket::frameType(packet) == FRT_Irq) {
        takeIrq(packet, now);
    } else {
        takePacket(packet, now);
    }
}

void HostOnBus::takePacket(const ByteArray& packet, Time now) {
    const Passage passage = packetFaults.pass(packet);
    if (passage.packet.empty()) {
        host.settle();
        replaceWith(passage.answer);
        if (passage.answer.empty()) return;
    } else {
        give(passage.packet, now);
        if (HostLinkPacket::frameType(packet) == FRT_Response) return; // not answered
    }
    reply.due = now + passage.delay;
    reply.lateTransfers = host.faults().lateTransfers();
}

void HostOnBus::takeIrq(const ByteArray& packet, Time now) {
    reply.lateTransfers = host.faults().lateTransfers();
    const ByteArray own = host.readyPacket(now);
    give(packet, now);
    if (own.empty()) return;
    const uint64_t number = packetFaults.numberOf(own);
    if (asked.packetNumber != number) asked = {number, 0, 0};
    ++asked.times;
    const uint8_t irqId = hostLinkPacketGetFrameId(packet.data());
    if (host.faults().refusesIrq(asked.times)) {
        replaceWith(HostLinkRspFrame::create(irqId, AcknowledgeType::Nack));
        return;
    }
    bool ok = false;
    const unsigned room = HostLinkIrqFrame::parse(packet, &ok);
    const bool fits = own.size() <= room;
    // On request only into a read that holds the whole announcement: half of one would be bytes that do not verify.
    const bool mayAnnounce = room >= HOSTLINK_IRQ_FRAME_SIZE;
    if (!fits || (mayAnnounce && host.faults().announcesSize(asked.announced))) {
        ++asked.announced;
        if (fits) replaceWith(HostLinkIrqFrame::create(irqId, static_cast<unsigned>(own.size())));
        return;
    }
    reply.garbage = host.faults().garbage(number);
}

void HostOnBus::replaceWith(const ByteArray& frame) {
    reply.isReplaced = true;
    reply.frame = frame;
}

void HostOnBus::give(const ByteArray& bytes, Time now) {
    if (peripheral) {
        peripheral->write(bytes, wholeMilliseconds(now));
    } else {
        hostLinkHostBusWrite(&bus, bytes.data(), static_cast<uint32_t>(bytes.size()), wholeMilliseconds(now));
    }
    host.settle();
}

ByteArray HostOnBus::read(size_t count, Time now) {
    ByteArray bytes = transfer(count, now);
    bytes.resize(count, idleByte);
    bytes = host.faults().toModule(bytes);
    bytes.resize(count, idleByte);
    host.mutableCounts().bytesSent += count;
    return bytes;
}

// What there is for this read transfer; empty when the bus stays idle.
ByteArray HostOnBus::transfer(size_t count, Time now) {
    if (now < reply.due) return {};
    if (reply.lateTransfers > 0) {
        --reply.lateTransfers;
        return {};
    }
    if (!reply.garbage.empty()) return std::exchange(reply.garbage, {});
    return answer(count, now);
}

ByteArray HostOnBus::answer(size_t count, Time now) {
    if (reply.isReplaced) {
        note(reply.frame);
        return reply.frame;
    }
    ByteArray clocked = peripheral ? peripheral->read(count, wholeMilliseconds(now)) : ByteArray{};
    // Read to its end also where the module reads less: it is told as a whole. Each read begins at its first byte.
    ByteArray bytes(std::max<size_t>({count, host.engine().setup.packetSize, HOSTLINK_IRQ_FRAME_SIZE}));
    hostLinkHostBusRead(&bus, bytes.data(), static_cast<uint32_t>(bytes.size()), wholeMilliseconds(now));
    note(packetIn(bytes));
    return peripheral ? clocked : bytes;
}

// The first time.
void HostOnBus::note(const ByteArray& frame) {
    if (frame.empty() || reply.isNoted) return;
    reply.isNoted = true;
    host.noteSent(frame);
    if (HostLinkPacket::frameType(frame) == FRT_Message) packetFaults.sent(frame);
}

void HostOnBus::advance(Time now) {
    hostLinkHostBusAdvance(&bus, wholeMilliseconds(now));
    host.settle();
}

bool HostOnBus::interruptLow(Time now) {
    return hostLinkHostBusLine(&bus, wholeMilliseconds(now)) != 0;
}

std::optional<Time> HostOnBus::nextDeadline(Time now) {
    interruptLow(now); // the engine tells the time after it has been asked for the line
    const std::optional<Time> next = momentAfter(now, hostLinkHostBusWait(&bus, wholeMilliseconds(now)));
    return next ? std::max(*next, now) : next;
}

} // namespace hostsim
