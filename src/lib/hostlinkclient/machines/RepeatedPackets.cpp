#include "hostlinkclient/machines/RepeatedPackets.h"

#include <hostlink/HostLinkLib.h>

namespace hostlink {

namespace {

// Messages of one packet tell whether frames are numbered; packets of one frame share its id.
bool isWhole(const ByteArray& packet) {
    return hostLinkPacketGetPacketId(packet.data()) == 0 && hostLinkPacketIsLast(packet.data()) != 0;
}

} // namespace

bool RepeatedPackets::isRepeated(const ByteArray& packet, Time now) {
    if (packet.size() < HOSTLINK_PACKET_HEADER_SIZE) return false;
    const bool same = packet == last && now - lastCame <= longest;
    if (!same && !last.empty() && packet != last && isWhole(packet) && isWhole(last) &&
        hostLinkPacketGetFrameId(packet.data()) == hostLinkPacketGetFrameId(last.data()))
        numbersFrames = false;
    last = packet;
    lastCame = now;
    return same && numbersFrames;
}

} // namespace hostlink
