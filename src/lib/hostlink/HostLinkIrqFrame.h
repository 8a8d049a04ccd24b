/// @file
/// IRQ frames: a 32-bit value in one packet.
#pragma once

#include "ByteArray.h"
#include "HostLinkExport.h"

/// Makes and reads IRQ frames. Any thread.
class HOSTLINK_EXPORT HostLinkIrqFrame {
public:
    /// The 14-byte frame.
    static ByteArray create(unsigned char frameId, unsigned int value);
    /// The value; `ok` (not null) is false when the packet fails to verify or the value is 0. The frame type is not
    /// checked.
    static unsigned int parse(const ByteArray& packet, bool* ok);
};
