#include <stddef.h>

#include "../HostLinkLib.h"
#include "ByteOrder.h"
#include "Opaque.h"

namespace {

constexpr uint16_t tableSize = 256;
constexpr uint32_t polynomial = 0x04C11DB7; // of the published CRC-32/MPEG-2, most significant bit first
constexpr uint32_t initialRegister = 0xFFFFFFFF;
constexpr uint16_t maxLength = 65532; // the longest block of whole words that a 16-bit offset can walk

/// The top byte of an entry, which picks the next one. Fetched by itself it is there as soon as the entry is and need
/// not be shifted out of it: 0.67 of the time of a checksum of 4 KiB.
size_t topOf(const uint32_t* entry) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return reinterpret_cast<const uint8_t*>(entry)[3];
#else
    return *entry >> 24;
#endif
}

/// A register of which the top byte is known before the rest.
struct Register {
    uint32_t value; ///< its top byte has no meaning
    size_t top;
};

/// Shifts one byte through, and adds the word behind it to what comes out; 0 where none follows yet. Were the compiler
/// to know that what the look-up waits for is a byte, it would reckon with eight bits and widen them again (0.78).
Register shifted(const uint32_t* table, Register c, uint32_t word) {
    const uint32_t* entry = table + c.top;
    return {*entry ^ c.value << 8 ^ word, opaque((c.value >> 16 & 0xFF) ^ word >> 24) ^ topOf(entry)};
}

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
    if (length == 0) return initialRegister;
    // Whole words, each from its last byte to its first.
    const uint32_t start = initialRegister ^ load32le(data);
    Register c{start, start >> 24};
    for (uint32_t o = 4;; o += 4) {
        for (int byte = 0; byte < 3; ++byte) c = shifted(table, c, 0);
        if (o >= length) return shifted(table, c, 0).value;
        c = shifted(table, c, load32le(data + o));
    }
}
