/// @file
/// What a read of a bus has brought.
#pragma once

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>

namespace command {

/// The packet with which the bytes begin, without what stands behind it; empty where they begin with none.
inline ByteArray packetAtBegin(const ByteArray& bytes) {
    if (!HostLinkPacket::verify(bytes)) return {};
    return {bytes.begin(), bytes.begin() + hostLinkPacketGetLength(bytes.data())};
}

} // namespace command
