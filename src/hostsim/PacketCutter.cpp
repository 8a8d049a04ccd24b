#include "PacketCutter.h"

#include "EngineTime.h"

namespace hostsim {

namespace {

constexpr uint16_t longestPacket = 65535;

} // namespace

PacketCutter::PacketCutter(Time timeout) : storage(new uint8_t[longestPacket]) {
    stream.bytes = storage.get();
    stream.size = longestPacket;
    stream.timeout = engineSpan<uint16_t>(timeout);
}

void PacketCutter::add(const ByteArray& bytes, Time now, const Take& take) {
    for (size_t at = 0; at < bytes.size();) {
        const auto left = static_cast<uint32_t>(bytes.size() - at);
        const uint16_t added = hostlink::addBytes(stream, bytes.data() + at, left, wholeMilliseconds(now));
        at += added; // never none: the longest packet there is has room
        takeAll(hostlink::nextCut(stream), take);
    }
}

void PacketCutter::expire(Time now, const Take& take) {
    const uint32_t moment = wholeMilliseconds(now);
    // What was given up may hide another beginning, as old as the first.
    for (hostlink::Cut cut = hostlink::expireCut(stream, moment); cut.kind != hostlink::Cut::Nothing;
         cut = hostlink::expireCut(stream, moment)) {
        takeAll(cut, take);
    }
}

void PacketCutter::takeAll(hostlink::Cut cut, const Take& take) {
    for (; cut.kind != hostlink::Cut::Nothing; cut = hostlink::nextCut(stream)) {
        const bool isPacket = cut.kind == hostlink::Cut::Packet;
        take(isPacket ? ByteArray(cut.packet, cut.packet + cut.length) : ByteArray());
    }
}

std::optional<Time> PacketCutter::nextDeadline(Time now) const {
    return momentAfter(now, hostlink::streamWait(stream, wholeMilliseconds(now)));
}

} // namespace hostsim
