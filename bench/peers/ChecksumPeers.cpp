// The checksum by Boost.CRC, and by zlib, whose CRC-32 has the same polynomial in the other order of bits.
#include <boost/crc.hpp>
#include <zlib.h>

#include "Peers.h"
#include "cases/Checksums.h"

namespace bench {

namespace {

// Each group of four bytes the other way round, as the checksum takes them.
std::vector<uint8_t> inOrder(const std::vector<uint8_t>& data) {
    std::vector<uint8_t> ordered;
    for (size_t at = 0; at < data.size(); at += 4) {
        for (size_t i = 4; i-- > 0;) ordered.push_back(data[at + i]);
    }
    return ordered;
}

template <typename T> T bitsReversed(T value) {
    T reversed = 0;
    for (unsigned bit = 0; bit < 8 * sizeof value; ++bit) {
        reversed = static_cast<T>(reversed << 1 | (value & 1));
        value = static_cast<T>(value >> 1);
    }
    return reversed;
}

std::function<uint32_t()> boostCrc(const std::vector<uint8_t>& data) {
    return [ordered = inOrder(data)] {
        boost::crc_optimal<32, 0x04C11DB7, 0xFFFFFFFF, 0, false, false> crc;
        crc.process_bytes(ordered.data(), ordered.size());
        return static_cast<uint32_t>(crc.checksum());
    };
}

// Gets each byte with its bits reversed, which is not measured; gives the register reversed and inverted.
std::function<uint32_t()> zlibCrc(const std::vector<uint8_t>& data) {
    std::vector<uint8_t> reversed = inOrder(data);
    for (uint8_t& byte : reversed) byte = bitsReversed(byte);
    return [reversed] {
        const uLong crc = crc32(0, reversed.data(), static_cast<uInt>(reversed.size()));
        return bitsReversed(static_cast<uint32_t>(~crc));
    };
}

} // namespace

void addChecksumPeers(Cases* cases) {
    addChecksum(cases, "Boost.CRC", boostCrc);
    addChecksum(cases, "zlib", zlibCrc);
}

} // namespace bench
