#include "IncomingFrames.h"

#include <hostlink/HostLinkLib.h>

namespace hostsim {

namespace {

// The same bytes can be another packet only when the module has drawn all the other frame ids in between. Each of those
// is a message packet, which takes the place of `last`, or a response frame; half of them leaves room for lost ones.
constexpr unsigned responsesOfAnotherRound = 128;

constexpr size_t maxMessageSize = 65535;

} // namespace

bool IncomingFrames::isRepetition(const ByteArray& packet, Time now) const {
    return packet == last && now - lastAt < repeatWindow && responsesSinceLast < responsesOfAnotherRound;
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
    responsesSinceLast = 0;
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
