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
#include "WireNumbers.h"

/// Header and trailer: what a packet with a payload is longer than its payload.
constexpr uint16_t packetOverhead = HOSTLINK_PACKET_HEADER_SIZE + HOSTLINK_PACKET_TRAILER_SIZE;

static inline uint32_t frameTypeOf(const uint8_t* packet) {
    const uint32_t format = packet[flagsAt] & formatMask;
    const bool headerOnly = load16le(packet + lengthAt) == HOSTLINK_PACKET_HEADER_SIZE;
    return format == FMT_Message && headerOnly ? FRT_Response : format;
}

/// Header-only, or at least one byte of payload: an empty payload is refused on purpose.
static inline bool isPossibleLength(uint16_t length) {
    return length == HOSTLINK_PACKET_HEADER_SIZE || length > packetOverhead;
}

static inline uint32_t verifyPacket(const uint8_t* packet, uint16_t available) {
    if (available < HOSTLINK_PACKET_HEADER_SIZE) return HOSTLINK_HEADER_TRUNCATED;
    const uint16_t length = load16le(packet + lengthAt);
    if (!isPossibleLength(length)) return HOSTLINK_TOO_SHORT;
    if (available < length) return HOSTLINK_TRUNCATED;
    if (load16le(packet + sopAt) != HOSTLINK_SOP) return HOSTLINK_BAD_START_OF_PACKET;
    return HOSTLINK_SUCCESS;
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
