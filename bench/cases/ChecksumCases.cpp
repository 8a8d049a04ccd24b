// The data-transfer checksum, and the chain of table look-ups that nothing with one table can avoid.
#include "Checksums.h"

#include <hostlink/HostLinkLib.h>

namespace bench {

const std::vector<size_t>& checksumSizes() {
    static const std::vector<size_t> sizes{64, 256, 1024, 4096};
    return sizes;
}

std::vector<uint8_t> checksumData(size_t size) {
    std::vector<uint8_t> data(size);
    uint32_t state = 1;
    for (uint8_t& byte : data) byte = static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    return data;
}

uint32_t checksumByBits(const std::vector<uint8_t>& data) {
    uint32_t c = 0xFFFFFFFF;
    for (size_t at = 0; at < data.size(); at += 4) {
        for (size_t i = 4; i-- > 0;) {
            c ^= uint32_t{data[at + i]} << 24;
            for (int bit = 0; bit < 8; ++bit) c = (c & 0x80000000) != 0 ? c << 1 ^ 0x04C11DB7 : c << 1;
        }
    }
    return c;
}

void addChecksum(Cases* cases, const std::string& subject, const MakeChecksum& make) {
    for (const size_t size : checksumSizes()) {
        const std::vector<uint8_t> data = checksumData(size);
        const std::function<uint32_t()> checksum = make(data);
        prove(checksum() == checksumByBits(data), subject, "the checksum of " + std::to_string(size) + " bytes");
        cases->push_back({"checksum", subject, std::to_string(size), [checksum] { return uint64_t{checksum()}; }});
    }
}

namespace {

std::vector<uint32_t> table() {
    std::vector<uint32_t> entries(dataTransferCrc32TableSize());
    genDataTransferCrc32Table(entries.data(), static_cast<uint16_t>(entries.size()));
    return entries;
}

std::function<uint32_t()> library(const std::vector<uint8_t>& data) {
    return [data, entries = table()] {
        return dataTransferCalcCrc32(entries.data(), static_cast<uint16_t>(entries.size()), data.data(),
                                     static_cast<uint16_t>(data.size()));
    };
}

// Every step needs the one before it: its look-up, a shift and an XOR. The data comes as words that are right already.
std::function<uint32_t()> chain(const std::vector<uint8_t>& data) {
    std::vector<uint32_t> words;
    for (size_t at = 0; at < data.size(); at += 4) {
        words.push_back(static_cast<uint32_t>(data[at]) | static_cast<uint32_t>(data[at + 1]) << 8 |
                        static_cast<uint32_t>(data[at + 2]) << 16 | static_cast<uint32_t>(data[at + 3]) << 24);
    }
    return [words, entries = table()] {
        const uint32_t* const entry = entries.data();
        uint32_t c = 0xFFFFFFFF;
        for (const uint32_t word : words) {
            c ^= word;
            for (int i = 0; i < 4; ++i) c = entry[c >> 24] ^ c << 8;
        }
        return c;
    };
}

} // namespace

void addChecksumCases(Cases* cases) {
    addChecksum(cases, "function core", library);
    addChecksum(cases, "bare chain", chain);
}

} // namespace bench
