/// @file
/// What a host on a bus may answer.
#pragma once

#include "Input.h"
#include "WireReference.h"

/// The 32-bit number of an IRQ frame; 0 in one that is too short for it.
inline uint32_t irqValue(const ByteArray& packet) {
    if (packet.size() < 14) return 0;
    return reference::word(packet, 8) + 65536U * reference::word(packet, 10);
}

/// An IRQ frame with any number.
inline ByteArray announcementOf(uint32_t value, unsigned frameId) {
    const auto byte = [value](unsigned shift) { return static_cast<unsigned char>(value >> shift & 0xFF); };
    return packetOf(0x22, frameId, 0, {byte(0), byte(8), byte(16), byte(24)});
}

/// One reply: mostly a packet, sometimes one that lies about its length, with idle bytes behind it or without its end.
inline ByteArray replyFrom(Input& input) {
    const unsigned choice = input.byte();
    ByteArray reply;
    switch (choice & 7) {
    case 0: reply = responseFrame(input.byte(), 0); break;
    case 1: reply = announcementOf(input.byte(), 1); break;
    case 2: reply = announcementOf(input.doubleWord(), 2); break;
    case 3:
    case 4: {
        const unsigned flags = input.byte();
        const unsigned frameId = input.below(4);
        const unsigned packetId = input.byte();
        reply = packetOf(flags, frameId, packetId, input.bytes(1U + input.below(64)));
        break;
    }
    case 5: {
        const unsigned frameId = input.byte();
        const unsigned length = input.word();
        reply = packetOf(0x23, frameId, 0, input.bytes(input.below(8)), static_cast<int>(length));
        break;
    }
    default: reply = input.bytes(input.below(32)); break;
    }
    const unsigned ending = choice >> 3;
    if (ending < 4) reply.resize(reply.size() + ending * 7, 0xFF);
    if (ending == 4) reply.resize(reply.size() - reply.size() / 4);
    reply.shrink_to_fit();
    return reply;
}
