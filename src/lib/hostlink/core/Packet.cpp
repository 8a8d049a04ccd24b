#include <string.h>

#include "PacketLayout.h"

uint16_t hostLinkPacketGetSop(const uint8_t* packet) {
    return load16le(packet + sopAt);
}

uint16_t hostLinkPacketGetLength(const uint8_t* packet) {
    return load16le(packet + lengthAt);
}

uint8_t hostLinkPacketGetFlags(const uint8_t* packet) {
    return packet[flagsAt];
}

uint8_t hostLinkPacketGetFrameId(const uint8_t* packet) {
    return packet[frameIdAt];
}

uint8_t hostLinkPacketGetPacketId(const uint8_t* packet) {
    return packet[packetIdAt];
}

uint32_t hostLinkPacketGetFrameType(const uint8_t* packet) {
    return frameTypeOf(packet);
}

uint8_t hostLinkPacketIsLast(const uint8_t* packet) {
    return isLast(packet[flagsAt]) ? 1 : 0;
}

const uint8_t* hostLinkPacketGetData(const uint8_t* packet, uint16_t* payloadLength) {
    return payloadOf(packet, payloadLength);
}

uint32_t hostLinkPacketVerify(const uint8_t* packet, uint16_t available) {
    return verifyPacket(packet, available);
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

[[gnu::noinline]] uint32_t findSop(const uint8_t* bytes, uint16_t count) {
    uint32_t i = 0;
    while (i + sizeof(Word) < count && !wordHasSop(bytes + i)) i += static_cast<uint32_t>(sizeof(Word));
    for (; i + 1 < count; ++i) {
        if (load16le(bytes + i) == HOSTLINK_SOP) return i;
    }
    return HOSTLINK_NO_SOP;
}

} // namespace

uint32_t hostLinkPacketHasSop(const uint8_t* bytes, uint16_t count) {
    if (count >= 2 && load16le(bytes) == HOSTLINK_SOP) return 0; // a stream in step
    return findSop(bytes, count);
}
