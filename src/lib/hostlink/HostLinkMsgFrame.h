/// @file
/// One outgoing message, cut into packets.
#pragma once

#include "ByteArray.h"
#include "HostLinkExport.h"
#include "HostLinkLib.h"

/// Cuts a message into packets. An ordinary value: one thread at a time; const operations may run on several.
class HOSTLINK_EXPORT HostLinkMsgFrame {
public:
    /// @param bytes           serialised message; copied
    /// @param id              frame id, written into every packet as 8 bits
    /// @param packetSizeLimit maximum packet size in bytes, used as 16 bits; 64 when 0 or less
    HostLinkMsgFrame(const ByteArray& bytes, int id, int packetSizeLimit);
    /// The same of a message that nobody needs any more: its bytes are taken over.
    HostLinkMsgFrame(ByteArray&& bytes, int id, int packetSizeLimit);

    /// Number of packets to send; 0 for an empty message.
    int packetCount() const;

    /// Packet number `index` (taken as 8 bits); empty when the index is beyond the message or the packet cannot be
    /// built (a packet size whose payload does not fit the 16-bit length field).
    ByteArray serializePacket(int index) const;

private:
    ByteArray message;
    int frameId;
    int maxPacketSize;
};
