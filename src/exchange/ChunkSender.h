/// @file
/// The sending end of a data transfer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <hostlink/ByteArray.h>

#include "ChunkMessages.h"
#include "ChunkSize.h"
#include "Delivery.h"
#include "ExchangeTime.h"
#include "Throughput.h"
#include "TransferChecksum.h"

namespace hostlink::exchange {

/// Where the bytes of a transfer come from.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    /// Fills `to` with the next bytes, all `room` of them unless the data end before.
    /// @return how many; none when they cannot be read
    virtual std::optional<size_t> read(uint8_t* to, size_t room) = 0;
    /// Back to the first byte; false when that is not possible.
    virtual bool rewind() = 0;
};

/// How a transfer has ended.
enum class TransferEnd {
    Complete,    ///< the host holds the file: its number of bytes and its checksum are ours
    Cancelled,   ///< on this side
    Refused,     ///< the host has ended the transfer
    Unsupported, ///< the host knows no data transfers
    Forgotten,   ///< the host has lost the transfer and the data cannot be read again, or it has lost it too often
    Unanswered,  ///< no chunk has been acknowledged for as long as the patience lasts
    Damaged,     ///< the host holds something else: another number of bytes or another checksum
    Unreadable,  ///< the data could not be read, or were not as many as announced
};

struct SendingOptions {
    std::string name;                                ///< what the file is called on the host
    std::optional<uint32_t> size;                    ///< bytes to come, told to the host; none when nobody knows
    size_t chunk = usualChunk;                       ///< data bytes at a time, a multiple of four
    Time answerTimeout = std::chrono::seconds(1);    ///< then the chunk is sent again
    Time retryPause = std::chrono::milliseconds(20); ///< before a chunk is sent again that the link could not deliver
    Time patience = std::chrono::seconds(30);        ///< how long no chunk at all may be acknowledged
    unsigned restarts = 3;                           ///< how often to begin anew at a host that has lost the transfer
};

/// What a transfer came to.
struct SendingReport {
    TransferEnd end = TransferEnd::Unanswered;
    uint64_t bytes = 0;        ///< acknowledged by the host
    uint32_t checksum = 0;     ///< of the bytes acknowledged
    uint32_t hostChecksum = 0; ///< what the host says it is; only of a complete or damaged transfer
    uint64_t chunks = 0;       ///< acknowledged
    uint64_t repeated = 0;     ///< chunks sent again
    uint64_t damaged = 0;      ///< answers with another checksum than the chunk's
    uint64_t stale = 0;        ///< answers that belonged to no chunk under way
    unsigned restarts = 0;     ///< times begun anew
};

/// How far a transfer has come.
struct TransferProgress {
    uint64_t bytes = 0; ///< acknowledged
    std::optional<uint64_t> total;
    double bytesPerSecond = 0; ///< over the last seconds
    std::optional<Time> left;
};

/// Sends one file, one chunk at a time: the next goes out when the answer to the last one has come with its sequence
/// number and its checksum. What is sent again is always the very same chunk, so that a host which had taken it answers
/// once more and does not take it twice. Pure: bytes, outcomes and the time in, messages out. One thread at a time.
///
/// A host that ends the transfer after trouble (the link was down, a message was not delivered or not answered) is
/// taken to have lost it, and the file is sent anew from its first byte; one that ends it out of the blue has its
/// reason.
class ChunkSender {
public:
    /// Nothing is read yet. The source stays the caller's and lives longer.
    ChunkSender(ByteSource& byteSource, const SendingOptions& sendingOptions, Time now);

    /// @name What happens
    /// @{
    /// The message given by `nextMessage()` has been sent.
    void sent(Delivery delivery, Time now);
    /// A "DataTransferResponse" or an "UnsupportedMessageResponse" has come.
    void answered(const ByteArray& message, Time now);
    /// What is in flight is told of by `sent()` nevertheless.
    void linkDown();
    void linkUp(Time now);
    /// Ends the transfer and tells the host, which is asked three times at most.
    void cancel(Time now);
    /// When `deadline()` has come; too early does no harm.
    void advance(Time now);
    /// @}

    /// @name What to do
    /// @{
    /// The message to send now, if any.
    std::optional<ByteArray> nextMessage(Time now);
    /// When `advance()` or `nextMessage()` has something to do.
    std::optional<Time> deadline() const;
    /// @}

    bool ended() const { return state == State::Ended; }
    const SendingReport& report() const { return result; }
    TransferProgress progress(Time now) const;

private:
    enum class State { Sending, Aborting, Ended };

    bool begin();
    bool readAhead();
    bool makeChunk();
    ByteArray messageOfCurrent() const;
    bool isForCurrent(const ChunkAnswer& answer) const;
    void takeAnswer(const ChunkAnswer& answer, Time now);
    void takeAcknowledgement(Time now);
    void takeTotals(const ChunkAnswer& answer, Time now);
    void takeAbort(Time now);
    void takeUnsupported(Time now);
    void sendNow(Time at);
    void repeat(Time at);
    void abort(TransferEnd end, Time now);
    void endAs(TransferEnd end);

    ByteSource& source;
    SendingOptions options;
    State state = State::Sending;
    TransferEnd endAfterAbort = TransferEnd::Cancelled;
    SendingReport result;
    TransferChecksum file; // of the chunks acknowledged
    Throughput speed;

    ByteArray ahead; // read from the source, not yet in a chunk
    bool atEnd = false;
    uint64_t readSoFar = 0;

    ByteArray current; // data of the chunk under way
    SequenceNumber sequence;
    uint32_t currentChecksum = 0;
    bool currentIsLast = false;
    unsigned timesSent = 0; // of the chunk, or the abort, under way

    bool linkIsUp = true;
    bool inFlight = false;   // handed out and `sent()` has not been called yet
    bool awaiting = false;   // an answer to what was handed out last
    bool trouble = false;    // since the last chunk that was acknowledged
    unsigned complaints = 0; // about the chunk under way: wrong totals, answers that say "unsupported"
    std::optional<Time> sendAt;
    std::optional<Time> answerBy;
    Time lastProgress;
};

} // namespace hostlink::exchange
