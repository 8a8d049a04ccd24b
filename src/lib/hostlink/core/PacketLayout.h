/// @file
/// Where the fields of a packet stand, in wire order.
///
///      0      2        4       5          6           7         8         8 + n
///     +------+--------+-------+----------+-----------+---------+---------+---------+
///     | FF FE| length | flags | frame id | packet id | padding | payload | trailer |
///     +------+--------+-------+----------+-----------+---------+---------+---------+
///
/// A header-only packet ends behind the padding; its length is exactly 8.
#pragma once

#include "../HostLinkLib.h"
#include "ByteOrder.h"
#include "Likely.h"
#include "WireNumbers.h"

/// Header and trailer: what a packet with a payload is longer than its payload.
constexpr uint16_t packetOverhead = HOSTLINK_PACKET_HEADER_SIZE + HOSTLINK_PACKET_TRAILER_SIZE;

static inline uint32_t frameTypeFrom(uint8_t flags, uint16_t length) {
    const uint32_t format = flags & formatMask;
    return format == FMT_Message && length == HOSTLINK_PACKET_HEADER_SIZE ? FRT_Response : format;
}

static inline uint32_t frameTypeOf(const uint8_t* packet) {
    return frameTypeFrom(packet[flagsAt], load16le(packet + lengthAt));
}

static inline bool isLast(uint8_t flags) {
    return (flags & PKT_Last) != 0;
}

/// Header-only, or at least one byte of payload: an empty payload is refused on purpose.
static inline bool isPossibleLength(uint16_t length) {
    return length > packetOverhead || length == HOSTLINK_PACKET_HEADER_SIZE;
}

/// The checks that follow those of the length alone.
static inline uint32_t verifyBehindLength(const uint8_t* packet, uint16_t available, uint16_t length) {
    if (unlikely(available < length)) return HOSTLINK_TRUNCATED;
    if (unlikely(load16le(packet + sopAt) != HOSTLINK_SOP)) return HOSTLINK_BAD_START_OF_PACKET;
    return HOSTLINK_SUCCESS;
}

static inline uint32_t verifyPacket(const uint8_t* packet, uint16_t available) {
    if (unlikely(available < HOSTLINK_PACKET_HEADER_SIZE)) return HOSTLINK_HEADER_TRUNCATED;
    const uint16_t length = load16le(packet + lengthAt);
    if (unlikely(!isPossibleLength(length))) return HOSTLINK_TOO_SHORT;
    return verifyBehindLength(packet, available, length);
}

static inline const uint8_t* payloadOf(const uint8_t* packet, uint16_t* payloadLength) {
    const uint16_t length = load16le(packet + lengthAt);
    if (length == HOSTLINK_PACKET_HEADER_SIZE) {
        *payloadLength = 0;
        return nullptr;
    }
    *payloadLength = static_cast<uint16_t>(length - packetOverhead);
    return packet + payloadAt;
}
