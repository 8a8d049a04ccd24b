/// @file
/// The receiving end of a file sent in data-transfer messages.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MessageItems.h"

namespace hostsim {

/// The checksum over chunk after chunk, each padded with zeros to a multiple of four bytes: as if all of them were one
/// block given to `dataTransferCalcCrc32`, which itself takes no more than 65532 bytes and cannot go on from a
/// register.
class RunningChecksum {
public:
    RunningChecksum();
    /// The checksum of this chunk alone.
    uint32_t ofChunk(const ByteArray& chunk) const;
    /// Goes on with this chunk.
    void add(const ByteArray& chunk);
    /// Over everything added so far; 0xFFFFFFFF at the beginning.
    uint32_t value() const { return checksum; }

private:
    uint32_t calculate(const ByteArray& words) const;

    std::vector<uint32_t> table;
    uint32_t checksum = 0xFFFFFFFF;
};

/// Takes the chunks of one file at a time and answers each. The bytes are counted and checked, not kept.
class TransferSink {
public:
    /// @return the items of the answer; the table in HostApplication.h says which
    std::vector<Item> take(const std::vector<Item>& items);

private:
    struct Request;

    bool isExpected(const Request& request) const;
    void begin();
    std::vector<Item> abort(std::vector<Item> answer);
    std::vector<Item> finish(std::vector<Item> answer);

    bool running = false;
    std::optional<int64_t> lastSequence; // of the chunk taken most recently
    std::vector<Item> lastAnswer;        // to that chunk: what a repeated request gets
    uint32_t lastChunkChecksum = 0;
    uint32_t received = 0; // bytes, modulo 2^32 as in DTT_FileSize
    RunningChecksum file;
};

} // namespace hostsim
