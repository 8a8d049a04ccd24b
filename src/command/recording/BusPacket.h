/// @file
/// What a read of a bus has brought.
#pragma once

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>

namespace command {

/// The packet with which the bytes begin, without what stands behind it; empty where they begin with none.
inline ByteArray packetAtBegin(const ByteArray& bytes) {
    if (!HostLinkPacket::verify(bytes)) return {};
    return {bytes.begin(), bytes.begin() + hostLinkPacketGetLength(bytes.data())};
}

/// Whether it is the acknowledgement of a packet.
inline bool isResponse(const ByteArray& packet) {
    return !packet.empty() && HostLinkPacket::frameType(packet) == FRT_Response;
}

/// Whether it is one that refuses what was said, for now.
inline bool isRefusal(const ByteArray& packet) {
    bool ok = false;
    return isResponse(packet) && HostLinkRspFrame::parse(packet, &ok) == AcknowledgeType::Nack;
}

} // namespace command
