/// @file
/// The receiving end of a data transfer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <hostlink/ByteArray.h>

#include "ChunkMessages.h"
#include "ExchangeTime.h"
#include "TransferChecksum.h"

namespace hostlink::exchange {

/// How a file that the host sends has ended.
enum class ReceivingEnd {
    Complete,  ///< the last chunk has come; as many bytes as announced, where they were
    Damaged,   ///< another number of bytes than announced
    Aborted,   ///< by the host, which sent an abort, a chunk out of sequence, or began another file
    Cancelled, ///< on this side
    Silent,    ///< no chunk has come for as long as the patience lasts
    Unwritable ///< the bytes could not be stored
};

struct ReceivingReport {
    ReceivingEnd end = ReceivingEnd::Silent;
    std::string name;
    uint64_t bytes = 0;
    uint32_t checksum = 0xFFFFFFFF;
    uint64_t damaged = 0;  ///< chunks whose checksum was wrong, asked for again by the answer
    uint64_t repeated = 0; ///< chunks that came twice
};

/// Where the bytes of received files go. Called from within the receiver's functions.
class ByteSink {
public:
    virtual ~ByteSink() = default;
    /// A file begins. False refuses it.
    virtual bool begin(const std::string& name, std::optional<uint32_t> size) = 0;
    /// The next bytes of it. False ends the transfer: they cannot be stored.
    virtual bool write(const uint8_t* data, size_t size) = 0;
    /// The file has ended, one way or another; exactly once for each that has begun.
    virtual void end(const ReceivingReport& report) = 0;
};

struct ReceivingOptions {
    Time patience = std::chrono::seconds(30); ///< between two chunks
};

/// Takes the chunks of one file at a time and answers each. Pure; one thread at a time. It goes on after any
/// interruption with the chunk that comes next in sequence, as long as its patience lasts.
class ChunkReceiver {
public:
    /// The sink stays the caller's and lives longer.
    explicit ChunkReceiver(ByteSink& byteSink, const ReceivingOptions& receivingOptions = {});

    /// One "DataTransfer" message; gives the answer to send.
    ByteArray take(const ByteArray& message, Time now);

    /// Ends the file under way, if any; the host is told in the answer to its next chunk.
    void cancel() { endAs(ReceivingEnd::Cancelled); }

    /// When `deadline()` has come; too early does no harm.
    void advance(Time now);
    std::optional<Time> deadline() const;

    bool receiving() const { return running; }

private:
    ChunkAnswer answerTo(const Chunk& chunk, Time now);
    ChunkAnswer accept(const Chunk& chunk, ChunkAnswer answer);
    ChunkAnswer refuse(ChunkAnswer answer, ReceivingEnd end);
    bool begin(const Chunk& chunk);
    bool isRepeated(const Chunk& chunk, uint32_t arrived) const;
    bool isExpected(const Chunk& chunk) const;
    void endAs(ReceivingEnd end);

    ByteSink& sink;
    ReceivingOptions options;
    bool running = false;
    ReceivingReport file;
    TransferChecksum checksum;
    std::optional<uint32_t> announced;
    uint64_t chunks = 0;                // of the file
    std::optional<SequenceNumber> last; // of the chunk taken most recently
    uint32_t lastChecksum = 0;
    ChunkAnswer lastAnswer;
    Time lastChunkAt{0};
};

} // namespace hostlink::exchange
