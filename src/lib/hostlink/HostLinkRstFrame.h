/// @file
/// Reset frames: a request for reset in one packet.
#pragma once

#include "ByteArray.h"
#include "HostLinkExport.h"

/// Makes reset frames. Any thread.
class HOSTLINK_EXPORT HostLinkRstFrame {
public:
    /// The 8-byte frame.
    static ByteArray create(unsigned char frameId);
};
