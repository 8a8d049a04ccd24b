#include "../HostLinkLib.h"

namespace {

constexpr uint16_t tableSize = 256;
constexpr uint32_t polynomial = 0x04C11DB7; // of the published CRC-32/MPEG-2, most significant bit first
constexpr uint32_t initialRegister = 0xFFFFFFFF;
constexpr uint16_t maxLength = 65532; // the longest block of whole words that a 16-bit offset can walk

} // namespace

uint16_t dataTransferCrc32TableSize(void) {
    return tableSize;
}

uint32_t genDataTransferCrc32Table(uint32_t* table, uint16_t count) {
    if (count != tableSize) return 0;
    for (uint32_t i = 0; i < tableSize; ++i) {
        uint32_t c = i << 24;
        for (int bit = 0; bit < 8; ++bit) c = (c & 0x80000000) != 0 ? c << 1 ^ polynomial : c << 1;
        table[i] = c;
    }
    return 1;
}

uint32_t dataTransferCalcCrc32(const uint32_t* table, uint16_t count, const uint8_t* data, uint16_t length) {
    if (count != tableSize || length > maxLength) return 0;
    uint32_t c = initialRegister;
    // Whole words, each from its last byte to its first.
    for (uint32_t o = 0; o < length; o += 4) {
        c = table[data[o + 3] ^ c >> 24] ^ c << 8;
        c = table[data[o + 2] ^ c >> 24] ^ c << 8;
        c = table[data[o + 1] ^ c >> 24] ^ c << 8;
        c = table[data[o] ^ c >> 24] ^ c << 8;
    }
    return c;
}
