/// @file
/// What can be told of a serialised message without parsing it.
#pragma once

#include "ByteArray.h"
#include "HostLinkExport.h"
#include "HostLinkLib.h"

/// Static helpers on raw message bytes. Any thread.
class HOSTLINK_EXPORT HostLinkMessage {
public:
    /// The message id; 0 ("InvalidMessage") when there are fewer than 2 bytes (the count is taken as 16 bits).
    static MessageId messageId(const ByteArray& message);

    /// Bit 15 of the id.
    static bool isResponseMessageId(MessageId id);
};
