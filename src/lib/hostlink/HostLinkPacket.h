/// @file
/// What a received packet is.
#pragma once

#include "ByteArray.h"
#include "HostLinkExport.h"
#include "HostLinkLib.h"

/// Static readers of one packet. `ok` may be null. Any thread.
class HOSTLINK_EXPORT HostLinkPacket {
public:
    /// Whether `hostLinkPacketVerify` accepts the bytes (their count taken as 16 bits).
    static bool verify(const ByteArray& packet);

    /// Frame type: 0 response, 1 reset, 2 irq, 3 message. With `ok`: 0 when the packet fails to verify. Without: read
    /// as it stands, 0 when there are fewer than 8 bytes.
    static int frameType(const ByteArray& packet, bool* ok = nullptr);

    /// Frame id. With `ok`: 0 when the packet fails to verify. Without: read as it stands, 0 when there are fewer than
    /// 8 bytes.
    static int frameId(const ByteArray& packet, bool* ok = nullptr);

    /// The "last" flag. With `ok`: true when the packet fails to verify. Without: read as it stands, true when there
    /// are fewer than 8 bytes.
    static bool isLast(const ByteArray& packet, bool* ok = nullptr);
};
