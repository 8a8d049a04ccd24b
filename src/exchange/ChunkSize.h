/// @file
/// How large the pieces are that a message carries.
#pragma once

#include <cstddef>

namespace hostlink::exchange {

/// Payload of one packet: what is left of its size beside header and trailer; at least 1.
size_t packetPayload(int maxPacketSize);

/// The longest message, in bytes, that a link can carry: as many packets as their numbers count, 256, and never more
/// than the 65535 bytes that any message may have.
size_t longestMessage(int maxPacketSize);

/// How many data bytes a message takes that fills whole packets: as few of them as carry `wanted` bytes, all of them
/// full, and never more than the 255 packets and 65535 bytes that a message may have.
/// @param maxPacketSize bytes of a packet on this link; 0 or less: 64
/// @param overhead      bytes of the message besides the data
/// @return a multiple of four, at least 4
size_t fittingChunk(int maxPacketSize, size_t overhead, size_t wanted);

/// What is carried at a time when nobody says otherwise. At packets of 64 bytes, 1004 data bytes fill 19 of them; with
/// less the answers weigh more, with more a damaged chunk costs more: docs/transfers.md has the figures.
constexpr size_t usualChunk = 1000;

} // namespace hostlink::exchange
