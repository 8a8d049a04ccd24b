/// @file
/// The interface of every message that can be sent.
#pragma once

#include "ByteArray.h"
#include "HostLinkExport.h"

/// A message that can be turned into the bytes `HostLinkTransportLayer::writeMessage` takes.
class HOSTLINK_EXPORT HostLinkMessageSerializable {
public:
    /// The message bytes. The first of the virtual functions, so that it has the first place in the table of them.
    virtual ByteArray serialize() const = 0;

    HostLinkMessageSerializable() = default;
    HostLinkMessageSerializable(const HostLinkMessageSerializable&) = default;
    HostLinkMessageSerializable(HostLinkMessageSerializable&&) = default;
    HostLinkMessageSerializable& operator=(const HostLinkMessageSerializable&) = default;
    HostLinkMessageSerializable& operator=(HostLinkMessageSerializable&&) = default;
    virtual ~HostLinkMessageSerializable();
};
