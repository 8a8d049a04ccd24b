// The checksum of data transfers against one that knows no table: bit by bit, as the polynomial says.
#include <vector>

#include <hostlink/HostLinkLib.h>

#include "support/Bytes.h"
#include "support/Input.h"
#include "support/Require.h"

namespace {

constexpr uint16_t tableSize = 256;
constexpr size_t longest = 65532;

uint32_t feed(uint32_t sum, uint8_t byte) {
    for (int bit = 7; bit >= 0; --bit) {
        const bool carry = (sum >> 31 & 1) != (byte >> bit & 1U);
        sum <<= 1;
        if (carry) sum ^= 0x04C11DB7;
    }
    return sum;
}

// `padded` holds whole words.
uint32_t expectedSum(const ByteArray& padded) {
    uint32_t sum = 0xFFFFFFFF;
    for (size_t word = 0; word < padded.size(); word += 4) {
        for (size_t i = 4; i-- > 0;) sum = feed(sum, padded[word + i]);
    }
    return sum;
}

const std::vector<uint32_t>& table() {
    static const std::vector<uint32_t> filled = [] {
        std::vector<uint32_t> entries(tableSize);
        require(genDataTransferCrc32Table(entries.data(), dataTransferCrc32TableSize()) == 1, "a table is filled");
        return entries;
    }();
    return filled;
}

void checkWrongTable(uint16_t count, const ByteArray& padded) {
    std::vector<uint32_t> untouched(tableSize, 0xA5A5A5A5);
    require(genDataTransferCrc32Table(untouched.data(), count) == 0, "a table of another size is refused");
    require(untouched == std::vector<uint32_t>(tableSize, 0xA5A5A5A5), "a refused table is not written");
    require(dataTransferCalcCrc32(table().data(), count, padded.data(), static_cast<uint16_t>(padded.size())) == 0,
            "no checksum comes of a table of another size");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const uint16_t count = input.word();
    ByteArray padded = input.bytes(longest);
    const auto length = static_cast<uint16_t>(padded.size());
    padded.resize((padded.size() + 3) / 4 * 4);
    padded.shrink_to_fit();

    require(dataTransferCalcCrc32(table().data(), tableSize, padded.data(), length) == expectedSum(padded),
            "the checksum is that of whole words, from the last byte to the first");
    const auto beyond = static_cast<uint16_t>(longest + 1 + length % 3);
    require(dataTransferCalcCrc32(table().data(), tableSize, padded.data(), beyond) == 0,
            "a block that is too long is refused unread");
    if (count != tableSize) checkWrongTable(count, padded);
    return 0;
}
