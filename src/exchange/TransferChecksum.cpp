#include "TransferChecksum.h"

#include <algorithm>
#include <array>
#include <vector>

#include <hostlink/HostLinkLib.h>

namespace hostlink::exchange {

namespace {

constexpr size_t maxBlock = 65532; // what one call of dataTransferCalcCrc32 takes
constexpr uint32_t initialRegister = 0xFFFFFFFF;
constexpr uint16_t tableSize = 256;

const std::array<uint32_t, tableSize>& table() {
    static const auto filled = [] {
        std::array<uint32_t, tableSize> entries{};
        genDataTransferCrc32Table(entries.data(), tableSize);
        return entries;
    }();
    return filled;
}

// A checksum that starts from another register than all ones equals one that starts from all ones, with the first word
// of the data turned over in the bits in which the two registers differ.
uint32_t goOn(uint32_t checksum, const uint8_t* data, size_t size) {
    std::vector<uint8_t> words(data, data + size);
    words.resize((size + checksumWord - 1) / checksumWord * checksumWord);
    const uint32_t difference = checksum ^ initialRegister;
    for (size_t i = 0; i < checksumWord; ++i) words[i] = static_cast<uint8_t>(words[i] ^ (difference >> (8 * i)));
    return dataTransferCalcCrc32(table().data(), tableSize, words.data(), static_cast<uint16_t>(words.size()));
}

} // namespace

uint32_t TransferChecksum::of(const uint8_t* data, size_t size) {
    TransferChecksum alone;
    alone.add(data, size);
    return alone.value();
}

void TransferChecksum::add(const uint8_t* data, size_t size) {
    for (size_t at = 0; at < size; at += maxBlock) checksum = goOn(checksum, data + at, std::min(maxBlock, size - at));
}

} // namespace hostlink::exchange
