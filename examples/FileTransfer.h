/// @file
/// Sending a file in data-transfer messages.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <hostlink/ByteArray.h>

#include "Conversation.h"

/// The data-transfer checksum of a file of any size: as if all of it, padded with zeros to a multiple of four bytes,
/// were one block. Every chunk but the last must be a multiple of four bytes long.
class FileChecksum {
public:
    FileChecksum();
    /// Goes on with this chunk.
    void add(ByteArray chunk);
    uint32_t value() const { return checksum; }

private:
    std::vector<uint32_t> table;
    uint32_t checksum = 0xFFFFFFFF;
};

/// What the host says about the file it has received.
struct TransferResult {
    uint32_t bytes = 0;
    uint32_t hostChecksum = 0;
    uint32_t ownChecksum = 0;
};

/// Sends a file chunk by chunk; waits for the host's answer to each, and sends a chunk again that arrived damaged.
/// @param progress called with the number of bytes that the host has confirmed
/// @throw std::runtime_error the host does not answer, aborts, or gets a chunk damaged again and again
TransferResult sendFile(Conversation& host, const std::string& name, const ByteArray& content,
                        const std::function<void(size_t)>& progress);
