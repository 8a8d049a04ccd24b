/// @file
/// Finds packets in the bytes of a serial line.
#pragma once

#include "HostLinkHostUart.h"

namespace hostlink {

/// What was found. A packet that is bad has no bytes worth looking at.
struct Cut {
    enum Kind : uint8_t { Nothing, Packet, Bad };
    const uint8_t* packet; // in the stream's storage, until the next call
    uint16_t length;
    Kind kind;
};

/// What stands before a start mark is skipped. A start mark whose length field is impossible, or larger than any packet
/// that the storage holds, is bad at once, and the search goes on behind the mark.
///
/// After the bytes of `addBytes`, `nextCut` is called until it finds nothing; then there is room for more.
/// @return how many of the bytes found room; the rest is to be added again
uint16_t addBytes(HostLinkHostStream& stream, const uint8_t* bytes, uint32_t count, uint32_t now);
Cut nextCut(HostLinkHostStream& stream);

/// What the passing of time brings: a packet that stops in the middle is given up. What has come of it is searched for
/// another one, and is bad when there is none. To be followed by `nextCut`.
Cut expireCut(HostLinkHostStream& stream, uint32_t now);

/// Milliseconds until `expireCut` is due; `HOSTLINK_HOST_NEVER` while no packet is half there.
uint32_t streamWait(const HostLinkHostStream& stream, uint32_t now);

} // namespace hostlink
