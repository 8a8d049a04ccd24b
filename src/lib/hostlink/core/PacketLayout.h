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

static_assert(sopAt == 0 && lengthAt == HOSTLINK_LENGTH_AT && flagsAt == HOSTLINK_FLAGS_AT);
static_assert(frameIdAt == HOSTLINK_FRAME_ID_AT && packetIdAt == HOSTLINK_PACKET_ID_AT);
static_assert(payloadAt == HOSTLINK_PACKET_HEADER_SIZE && formatMask == HOSTLINK_FORMAT_MASK);

/// The checks that follow those of the length alone.
static inline uint32_t verifyBehindLength(const uint8_t* packet, uint16_t available, uint16_t length) {
    if (unlikely(available < length)) return HOSTLINK_TRUNCATED;
    if (unlikely(load16le(packet + sopAt) != HOSTLINK_SOP)) return HOSTLINK_BAD_START_OF_PACKET;
    return HOSTLINK_SUCCESS;
}
