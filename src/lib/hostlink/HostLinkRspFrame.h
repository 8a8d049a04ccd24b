/// @file
/// Response frames: the acknowledgement of one packet.
#pragma once

#include "ByteArray.h"
#include "HostLinkExport.h"
#include "HostLinkLib.h"

/// Makes and reads response frames. Any thread.
class HOSTLINK_EXPORT HostLinkRspFrame {
public:
    /// The 8-byte frame.
    static ByteArray create(unsigned char frameId, AcknowledgeType type);
    /// The acknowledgement; `ok` (not null) is false, and the result `None`, when the packet fails to verify. The frame
    /// type is not checked.
    static AcknowledgeType parse(const ByteArray& packet, bool* ok);
    /// 8: the bytes a reader must collect before it can parse a response.
    static int minFrameSize();
};
