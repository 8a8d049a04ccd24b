// The data-transfer checksum, and the chain of table look-ups that nothing with one table can avoid.
#include <hostlink/HostLinkLib.h>

#include "Checksums.h"

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

// Every look-up needs the one before it, and of that nothing but the top byte of its entry: a load of that byte and an
// XOR. All the rest comes beside them, and the data as words that are right already. For little-endian machines.
std::function<uint32_t()> chain(const std::vector<uint8_t>& data) {
    std::vector<uint32_t> words;
    for (size_t at = 0; at < data.size(); at += 4) {
        words.push_back(static_cast<uint32_t>(data[at]) | static_cast<uint32_t>(data[at + 1]) << 8 |
                        static_cast<uint32_t>(data[at + 2]) << 16 | static_cast<uint32_t>(data[at + 3]) << 24);
    }
    return [words, entries = table()] {
        const uint32_t* const entry = entries.data();
        const auto top = [bytes = reinterpret_cast<const uint8_t*>(entry)](size_t i) {
            return size_t{bytes[4 * i + 3]};
        };
        uint32_t c = 0xFFFFFFFF ^ words.front();
        size_t i = c >> 24; // the top byte of c, found without waiting for c
        const auto step = [&](uint32_t next) {
            size_t beside = (c >> 16 & 0xFF) ^ next >> 24;
            asm("" : "+r"(beside)); // or the compiler makes one number of it and the load, and widens that each time
            c = entry[i] ^ c << 8 ^ next;
            i = top(i) ^ beside;
        };
        for (size_t word = 1; word <= words.size(); ++word) {
            for (int byte = 0; byte < 3; ++byte) step(0);
            step(word < words.size() ? words[word] : 0);
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
