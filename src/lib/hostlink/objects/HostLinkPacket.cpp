#include "hostlink/HostLinkPacket.h"

namespace {

bool verifies(const ByteArray& packet) {
    return hostLinkPacketVerify(packet.data(), static_cast<uint16_t>(packet.size())) == HOSTLINK_SUCCESS;
}

// Whether the fields of the header may be read: a packet that verifies when the caller asks for that, else one that is
// long enough to hold a header.
bool isReadable(const ByteArray& packet, bool* ok) {
    if (ok == nullptr) return packet.size() >= HOSTLINK_PACKET_HEADER_SIZE;
    *ok = verifies(packet);
    return *ok;
}

} // namespace

bool HostLinkPacket::verify(const ByteArray& packet) {
    return verifies(packet);
}

int HostLinkPacket::frameType(const ByteArray& packet, bool* ok) {
    return isReadable(packet, ok) ? static_cast<int>(hostLinkPacketGetFrameType(packet.data())) : 0;
}

int HostLinkPacket::frameId(const ByteArray& packet, bool* ok) {
    return isReadable(packet, ok) ? hostLinkPacketGetFrameId(packet.data()) : 0;
}

bool HostLinkPacket::isLast(const ByteArray& packet, bool* ok) {
    return !isReadable(packet, ok) || hostLinkPacketIsLast(packet.data()) != 0;
}
