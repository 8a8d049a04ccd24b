#include "IncomingFrames.h"

#include <hostlink/HostLinkLib.h>

namespace hostsim {

namespace {

constexpr size_t maxMessageSize = 65535;

// Ids go round: of the other 255, the 127 next ones count as drawn after `taken`, the rest as drawn before it.
bool isFromAnotherRound(uint8_t id, uint8_t taken) {
    const auto drawnAfter = static_cast<uint8_t>(id - taken);
    return drawnAfter >= 128 && (id == 0 || drawnAfter != 255);
}

bool beginsALife(const ByteArray& packet) {
    return hostLinkPacketGetFrameId(packet.data()) == 0 && hostLinkPacketGetPacketId(packet.data()) == 0;
}

} // namespace

bool IncomingFrames::isRepetition(const ByteArray& packet, Time now) const {
    return packet == last && !beginsALife(packet) && now - lastAt < repeatWindow;
}

void IncomingFrames::heard(const ByteArray& packet) {
    if (last.empty()) return;
    const uint8_t id = hostLinkPacketGetFrameId(packet.data());
    if (isFromAnotherRound(id, hostLinkPacketGetFrameId(last.data()))) last.clear();
}

IncomingFrames::Result IncomingFrames::refuse(uint8_t frameId) {
    abandonedFrames += open.erase(frameId);
    return Result::Refused;
}

IncomingFrames::Result IncomingFrames::take(const ByteArray& packet, Time now) {
    if (isRepetition(packet, now)) return Result::Duplicate;
    const uint8_t frameId = hostLinkPacketGetFrameId(packet.data());
    const uint8_t packetId = hostLinkPacketGetPacketId(packet.data());
    if (packetId == 0) abandonedFrames += open.erase(frameId);

    const auto found = open.find(frameId);
    const uint8_t expected = found == open.end() ? uint8_t{0} : found->second.nextPacketId;
    if (packetId != expected) return refuse(frameId);

    OpenFrame& assembly = open[frameId];
    uint16_t payload = 0;
    hostLinkPacketGetData(packet.data(), &payload);
    assembly.size += payload;
    if (assembly.size > maxMessageSize) return refuse(frameId);
    assembly.frame.addPacket(packet);
    ++assembly.nextPacketId;
    last = packet;
    lastAt = now;
    if (!assembly.frame.complete()) return Result::Added;
    completed = assembly.frame.data();
    open.erase(frameId);
    return Result::Completed;
}

void IncomingFrames::reset() {
    abandonedFrames += open.size();
    open.clear();
    last.clear();
}

} // namespace hostsim
