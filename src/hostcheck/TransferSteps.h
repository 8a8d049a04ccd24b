/// @file
/// What the checks of transfers are made of: a file, and its chunks one by one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <exchange/ChunkMessages.h>

#include "Bench.h"

namespace hostcheck {

/// A file in chunks, of 32 bytes each and 10 in the last.
struct File {
    std::vector<ByteArray> chunks;
    uint64_t first = 0; ///< the first chunk's number
    Encoding width = ENC_Uint32;

    explicit File(size_t count = 3);

    uint32_t size() const;
    uint32_t checksumOf(size_t i) const;
    uint32_t checksum() const; ///< of all chunks
    hostlink::exchange::Chunk chunk(size_t i) const;
};

/// Sends a chunk with the checksum that it claims, right or wrong.
hostlink::exchange::ChunkAnswer sendChunk(Bench& bench, const hostlink::exchange::Chunk& chunk, unsigned rule);

void requireTaken(Bench& bench, const File& file, size_t i, unsigned rule);
/// All chunks from this one on are taken.
void requireWhole(Bench& bench, const File& file, unsigned rule, size_t from = 0);
void requireAbort(Bench& bench, const hostlink::exchange::Chunk& chunk, const std::string& what);

} // namespace hostcheck
