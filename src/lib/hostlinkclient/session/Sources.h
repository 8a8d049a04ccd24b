/// @file
/// Where the bytes of files come from.
#pragma once

#include <fstream>
#include <istream>
#include <memory>
#include <string>

#include <exchange/ChunkSender.h>

namespace hostlink {

/// Reads a stream; begins anew where that can be positioned.
class StreamSource : public exchange::ByteSource {
public:
    explicit StreamSource(std::shared_ptr<std::istream> from);
    std::optional<size_t> read(uint8_t* to, size_t room) override;
    bool rewind() override;
    /// Bytes from here to the end, where the stream can tell.
    std::optional<uint64_t> size() const { return bytes; }

private:
    std::shared_ptr<std::istream> stream;
    std::istream::pos_type first;
    std::optional<uint64_t> bytes;
};

} // namespace hostlink
