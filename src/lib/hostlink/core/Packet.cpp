#include <string.h>

#include "PacketLayout.h"

// The other readers have their bodies in HostLinkInline.h.

const uint8_t* hostLinkPacketGetData(const uint8_t* packet, uint16_t* payloadLength) {
    const uint16_t length = load16le(packet + lengthAt);
    if (length == HOSTLINK_PACKET_HEADER_SIZE) {
        *payloadLength = 0;
        return nullptr;
    }
    *payloadLength = static_cast<uint16_t>(length - packetOverhead);
    return packet + payloadAt;
}

namespace {

using Word = uintptr_t;

constexpr Word everyByte(uint8_t value) {
    return static_cast<Word>(-1) / 0xFF * value;
}

Word loadWord(const uint8_t* at) {
    Word word;
    memcpy(&word, at, sizeof word);
    return word;
}

/// Whether a mark starts at one of the `sizeof(Word)` offsets from `at`; reads one byte more than that. A byte of
/// `misses` is zero exactly where FF is followed by FE, and the classic zero-byte test finds it in any byte order.
bool wordHasSop(const uint8_t* at) {
    const Word misses = (loadWord(at) ^ everyByte(0xFF)) | (loadWord(at + 1) ^ everyByte(0xFE));
    return ((misses - everyByte(0x01)) & ~misses & everyByte(0x80)) != 0;
}

} // namespace

uint32_t hostLinkPacketFindSop(const uint8_t* bytes, uint16_t count) {
    uint32_t i = 0;
    while (i + sizeof(Word) < count && !wordHasSop(bytes + i)) i += static_cast<uint32_t>(sizeof(Word));
    for (; i + 1 < count; ++i) {
        if (load16le(bytes + i) == HOSTLINK_SOP) return i;
    }
    return HOSTLINK_NO_SOP;
}
