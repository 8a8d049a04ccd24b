/// @file
/// What the wire format says about packets, in the plainest words and without the library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <hostlink/ByteArray.h>

#include "support/Bytes.h"
#include "support/Packets.h"

namespace reference {

inline constexpr size_t longestPacket = 65535;
inline constexpr uint8_t lastFlag = 0x20;

inline unsigned word(const ByteArray& bytes, size_t at) {
    return bytes[at] + 256U * bytes[at + 1];
}

inline bool beginsWithMark(const ByteArray& bytes, size_t at = 0) {
    return bytes.size() >= at + 2 && bytes[at] == 0xFF && bytes[at + 1] == 0xFE;
}

/// The result code for one packet of which these bytes, at most 65535, are at hand.
inline unsigned packetCode(const ByteArray& bytes) {
    if (bytes.size() < 8) return 22;
    const unsigned length = word(bytes, 2);
    if (length < 8 || length == 9 || length == 10) return 10;
    if (length > bytes.size()) return 21;
    return beginsWithMark(bytes) ? 0 : 11;
}

/// A packet that verifies, taken apart. Padding, trailer and flag bits 3 and 4 mean nothing to a receiver.
struct Packet {
    explicit Packet(const ByteArray& bytes)
        : length(word(bytes, 2)),
          flags(bytes[4]),
          frameId(bytes[5]),
          packetId(bytes[6]),
          payload(length == 8 ? ByteArray() : slice(bytes, 8, length - 2)) {}

    unsigned format() const { return flags & 7U; }
    /// A header-only packet of the message format is a response; so is one of format 0, which nobody writes.
    unsigned type() const { return format() == 3 && length == 8 ? 0 : format(); }
    bool isResponse() const { return type() == 0; }
    bool isMessage() const { return type() == 3; }
    bool isLast() const { return (flags & lastFlag) != 0; }
    unsigned acknowledgement() const { return flags / 64U; }

    unsigned length;
    uint8_t flags;
    uint8_t frameId;
    uint8_t packetId;
    ByteArray payload;
};

/// The packets of a message whose packets hold `room` bytes of it, at least 1.
inline std::vector<ByteArray> packetsOf(const ByteArray& message, size_t room, unsigned frameId) {
    std::vector<ByteArray> packets;
    for (size_t from = 0; from < message.size(); from += room) {
        const size_t to = std::min(from + room, message.size());
        const bool last = to == message.size();
        packets.push_back(
            packetOf(last ? 0x23 : 0x03, frameId & 0xFF, packets.size() & 0xFF, slice(message, from, to)));
    }
    return packets;
}

} // namespace reference
