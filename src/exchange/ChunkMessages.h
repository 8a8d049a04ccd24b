/// @file
/// The messages of data transfers: chunks of a file and the answers to them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <hostlink/ByteArray.h>

#include "MessageItems.h"

namespace hostlink::exchange {

/// A number with the width in which it travels.
struct SequenceNumber {
    Encoding encoding = ENC_Uint32;
    uint64_t number = 0;

    /// The one that follows; wraps in its width.
    SequenceNumber next() const { return {encoding, (number + 1) & maskOf(encoding)}; }
    bool operator==(const SequenceNumber& other) const { return encoding == other.encoding && number == other.number; }
};

/// A request of the sender. The data stay the message's.
struct Chunk {
    std::optional<std::string> name; ///< begins a transfer
    std::optional<uint32_t> fileSize;
    std::optional<SequenceNumber> sequence;
    const uint8_t* data = nullptr;
    size_t size = 0;
    std::optional<uint32_t> checksum; ///< of the data, as the sender says
    bool last = false;
    bool aborted = false;
};

/// An answer of the receiver.
struct ChunkAnswer {
    std::optional<SequenceNumber> sequence;
    std::optional<uint32_t> checksum; ///< of the data as they arrived
    bool last = false;
    std::optional<uint32_t> fileSize;     ///< after the last chunk: bytes received
    std::optional<uint32_t> fileChecksum; ///< after the last chunk
    bool aborted = false;
};

ByteArray writeChunk(const Chunk& chunk);
/// None when the message cannot be read.
std::optional<Chunk> readChunk(const ByteArray& message);

ByteArray writeAnswer(const ChunkAnswer& answer);
/// None when the message cannot be read.
std::optional<ChunkAnswer> readAnswer(const ByteArray& message);

/// The request that ends a transfer before its end.
ByteArray writeAbort();

/// Bytes of a chunk's message besides the data; the first one has the name and the file size as well.
constexpr size_t chunkOverheadBytes =
    messageHeaderBytes + (itemHeaderBytes + 4) + binaryHeaderBytes + (itemHeaderBytes + 4);
/// The same of a first chunk that may be the last one, too.
inline size_t firstChunkOverheadBytes(const std::string& name) {
    return chunkOverheadBytes + binaryHeaderBytes + name.size() + (itemHeaderBytes + 4) + itemHeaderBytes;
}

} // namespace hostlink::exchange
