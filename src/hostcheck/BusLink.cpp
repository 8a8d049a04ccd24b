#include "BusLink.h"

#include <hostlink/HostLinkLib.h>

#include "Packets.h"

namespace hostcheck {

namespace {

// The packet that the bytes begin with; empty when they begin with none.
ByteArray packetIn(const ByteArray& bytes) {
    if (hostLinkPacketVerify(bytes.data(), static_cast<uint16_t>(bytes.size())) != HOSTLINK_SUCCESS) return {};
    return ByteArray(bytes.begin(), bytes.begin() + hostLinkPacketGetLength(bytes.data()));
}

bool beginsWithMark(const ByteArray& bytes) {
    return bytes.size() >= sizeof(uint16_t) && hostLinkPacketGetSop(bytes.data()) == HOSTLINK_SOP;
}

} // namespace

ByteArray BusLink::writeAndRead(const ByteArray& bytes, size_t count, unsigned* reads) {
    transcript.add(wire.now(), Direction::ToHost, bytes);
    ByteArray answer = wire.writeRead(bytes, count);
    *reads = 1;
    while (!beginsWithMark(answer) && *reads < mostReads) {
        wire.pause(wire.now() + readPause);
        answer = wire.read(count);
        ++*reads;
    }
    const bool came = beginsWithMark(answer);
    ++counts.at(came ? *reads - 1 : mostReads);
    if (!came) {
        transcript.add(wire.now(), Direction::Skipped, answer);
        return {};
    }
    ByteArray packet = packetIn(answer);
    transcript.add(wire.now(), packet.empty() ? Direction::Skipped : Direction::FromHost,
                   packet.empty() ? answer : packet);
    return packet;
}

void BusLink::put(const ByteArray& bytes, bool answered) {
    if (!answered) {
        transcript.add(wire.now(), Direction::ToHost, bytes);
        wire.write(bytes);
        return;
    }
    unsigned reads = 0;
    const ByteArray answer = writeAndRead(bytes, HOSTLINK_RSP_FRAME_SIZE, &reads);
    if (!answer.empty()) come.push_back(answer);
}

BusExchange BusLink::exchange(uint32_t size) {
    BusExchange result;
    constexpr unsigned mostAnnouncements = 8;
    result.lowBefore = wire.lineLow();
    while (true) {
        const ByteArray answer = writeAndRead(irqPacket(irqId++, size), size, &result.reads);
        result.answer = answer;
        if (answer.empty()) return result;
        const uint32_t type = hostLinkPacketGetFrameType(answer.data());
        if (type == FRT_Message) result.packet = answer;
        if (type != FRT_Irq || result.announced == mostAnnouncements) return result;
        ++result.announced;
        size = hostLinkFrameIrqDeserialize(answer.data(), static_cast<uint16_t>(answer.size()));
        result.announcedSize = size;
        if (size == 0 || size > UINT16_MAX) return result;
    }
}

std::optional<ByteArray> BusLink::packet(Time until) {
    if (come.empty()) {
        while (wire.waitForEdge(until)) {
            const BusExchange served = exchange(usualRead);
            if (!served.packet.empty()) return served.packet;
        }
        return std::nullopt;
    }
    ByteArray first = come.front();
    come.pop_front();
    return first;
}

} // namespace hostcheck
