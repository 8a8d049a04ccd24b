/// @file
/// Packets put together byte by byte, independently of the code under test.
#pragma once

#include "Bytes.h"

/// A packet with payload: header, payload, two zero bytes. `length` is what the header declares; -1: the true length.
inline ByteArray packetOf(unsigned flags, unsigned frameId, unsigned packetId, const ByteArray& payload,
                          int length = -1) {
    const auto byte = [](size_t value) { return static_cast<unsigned char>(value & 0xFF); };
    const size_t declared = length < 0 ? payload.size() + 10 : static_cast<size_t>(length);
    ByteArray packet{0xFF, 0xFE, byte(declared), byte(declared >> 8), byte(flags), byte(frameId), byte(packetId), 0};
    packet = packet + payload;
    return packet + ByteArray{0, 0};
}

/// One packet of a message frame with more to come.
inline ByteArray messagePart(unsigned frameId, unsigned packetId, const ByteArray& payload) {
    return packetOf(0x03, frameId, packetId, payload);
}

/// The last packet of a message frame.
inline ByteArray messageEnd(unsigned frameId, unsigned packetId, const ByteArray& payload) {
    return packetOf(0x23, frameId, packetId, payload);
}

/// A response frame; `flags`: 0x23 neither bit, 0x63 nack, 0xA3 ack, 0xE3 both.
inline ByteArray responseFrame(unsigned flags, unsigned frameId) {
    return {0xFF, 0xFE, 8, 0, static_cast<unsigned char>(flags), static_cast<unsigned char>(frameId), 0, 0};
}
