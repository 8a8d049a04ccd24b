/// @file
/// One direction of a tunnelled connection, where it begins.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include <hostlink/ByteArray.h>

#include "Delivery.h"
#include "ExchangeTime.h"
#include "TunnelMessages.h"

namespace hostlink::exchange {

/// How much is carried at a time and how long answers may take.
struct TunnelPace {
    size_t smallestChunk = 72;                          ///< data bytes; what fills two packets
    size_t largestChunk = 1000;                         ///< data bytes
    size_t buffer = 16384;                              ///< bytes that wait in each direction of a connection
    Time firstTimeout = std::chrono::milliseconds(500); ///< before it is known how fast answers come
    Time shortestTimeout = std::chrono::milliseconds(40);
    Time longestTimeout = std::chrono::seconds(2);
    Time retryPause = std::chrono::milliseconds(10); ///< before a request is repeated that the link did not deliver
    Time quietPause = std::chrono::milliseconds(80); ///< the same when more than one got lost, see Tunnels::sent()
    Time firstCheckOnABadLine = std::chrono::milliseconds(100); ///< whether it still works, when nothing moves
    Time patience = std::chrono::seconds(30);                   ///< how long the other end may say nothing at all
};

/// How long a host waits inside a packet for its next byte, when nobody says otherwise.
constexpr Time usualPacketTimeout = std::chrono::milliseconds(100);

/// Chunks that fill the packets of a link, and pauses after losses that suit its receivers: they are in proportion to
/// what those wait for.
/// @param packetTimeout how long the host waits inside a packet for its next byte
TunnelPace paceFor(int maxPacketSize, Time packetTimeout = usualPacketTimeout);

/// Requests of one connection, at most one of them unanswered: to open it, the bytes in order, their end.
///
/// Bytes are kept until the other end has acknowledged them by their position, so a request can be repeated in another
/// cut: after a loss the pieces get smaller, down to one packet; after eight in a row that went well they get larger.
/// While the other end has no room it is asked again in growing intervals. Pure; one thread at a time.
class TunnelOutgoing {
public:
    /// @param opens whether this end opens the connection, so that the first request is to open it
    TunnelOutgoing(const TunnelPace& tunnelPace, uint32_t firstPosition, bool opens, Time now);

    /// How many bytes `append()` takes.
    size_t room() const;
    void append(const uint8_t* data, size_t size, Time now);
    /// No more bytes come.
    void finish(Time now);

    /// What to send now, if anything; the data are valid until the next call of anything here.
    std::optional<TunnelRequest> next(Time now);
    void sent(Delivery delivery, Time now);
    /// An answer that the other end has taken everything before `upTo` and has room for so much more.
    void acknowledged(uint32_t upTo, uint16_t roomThere, Time now);
    /// The other end has got the request damaged.
    void damaged(Time now);
    void advance(Time now);
    std::optional<Time> deadline() const;

    bool opened() const { return isOpen; }
    /// Whether everything has been acknowledged, the end too.
    bool finished() const { return finishAcknowledged; }
    /// The end is all that has not been acknowledged.
    bool onlyFinishLeft() const { return finishing && waiting.empty(); }
    bool silentTooLong(Time now) const { return asking() && now - heardAt >= pace.patience; }
    /// The other end knows the connection no more, and needs to know no more of it.
    void takeAsFinished();
    /// Bytes that have not been acknowledged.
    size_t held() const { return waiting.size(); }
    /// Of the first byte that has not been acknowledged.
    uint32_t firstHeld() const { return position; }
    uint64_t repeated() const { return repeats; }
    size_t chunk() const { return chunkNow; }

private:
    bool asking() const;
    void progress(uint32_t taken, Time now);
    void sample(Time now);
    void answeredTwice();
    void lost(Time at);
    void wake(Time now);
    Time timeout() const;

    TunnelPace pace;
    ByteArray waiting; // from `position` on, not acknowledged
    uint32_t position; // of the first byte of `waiting`
    bool isOpen;
    bool finishing = false;
    bool finishAcknowledged = false;
    size_t window; // room at the other end

    bool outstanding = false; // a request waits for its answer
    size_t outstandingSize = 0;
    unsigned attempt = 0; // how often what stands at `position` has been sent
    unsigned wellInARow = 0;
    size_t chunkNow;
    uint64_t repeats = 0;

    std::optional<Time> smoothed; // how long answers take
    unsigned tooMany = 0;         // sendings of what has been answered, but for one each: they may be answered as well
    Time sentAt{0};
    Time heardAt;
    Time probeAfter{0}; // while the other end has no room
    std::optional<Time> sendAt;
    std::optional<Time> answerBy;
};

} // namespace hostlink::exchange
