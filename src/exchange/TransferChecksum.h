/// @file
/// The checksum of data transfers over data of any length.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hostlink::exchange {

/// Bytes that the checksum takes at a time.
constexpr size_t checksumWord = 4;

/// The checksum over chunk after chunk, each padded with zeros to a multiple of four bytes: as if all of them were one
/// block given to `dataTransferCalcCrc32`, which itself takes no more than 65532 bytes and cannot go on from where it
/// ended.
class TransferChecksum {
public:
    /// Of one block alone.
    static uint32_t of(const uint8_t* data, size_t size);

    /// Goes on with this chunk.
    void add(const uint8_t* data, size_t size);
    /// Over everything added so far; 0xFFFFFFFF at the beginning.
    uint32_t value() const { return checksum; }

private:
    uint32_t checksum = 0xFFFFFFFF;
};

} // namespace hostlink::exchange
