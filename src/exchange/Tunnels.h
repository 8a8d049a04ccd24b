/// @file
/// Connections carried over tunnelling messages.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>

#include <hostlink/ByteArray.h>

#include "Delivery.h"
#include "ExchangeTime.h"
#include "TunnelIncoming.h"
#include "TunnelMessages.h"
#include "TunnelOutgoing.h"

namespace hostlink::exchange {

struct TunnelOptions {
    TunnelPace pace;
    size_t mostConnections = 32; ///< at a time
    uint16_t firstNumber = 1;    ///< of the connections that this end opens; another one each time it starts
    uint32_t firstPosition = 0;  ///< where bytes begin to be counted; another one each time it starts
};

struct TunnelCounts {
    uint64_t opened = 0;   ///< connections that both ends agreed on
    uint64_t refused = 0;  ///< connections that one end did not take
    uint64_t finished = 0; ///< connections that ended in order, in both directions
    uint64_t broken = 0;   ///< connections that ended otherwise
    uint64_t bytesSent = 0;
    uint64_t bytesReceived = 0;
    uint64_t repeated = 0; ///< requests sent again
    uint64_t damaged = 0;  ///< messages that had suffered on the way
    uint64_t stale = 0;    ///< messages about no connection
};

/// What the sockets are to do. In the order in which they come.
struct TunnelEvent {
    enum class Kind {
        Connect,  ///< make a connection; `connected()` or `socketFailed()` tells how it went
        ShutDown, ///< all has been written that ever will be: end that direction
        Close,    ///< both directions have ended
        Break     ///< close at once, so that the peer sees that something is missing
    };
    Kind kind;
    uint16_t connection;
};

/// One end of all tunnelled connections of a link; the module's, which opens them, and the host's, which connects, are
/// the same. Each direction of each connection has one request under way, so a slow reader stops its own connection and
/// no other, and whatever it does, no more than two buffers a connection are held. Everything is repeated until it has
/// been acknowledged by its position; whatever has suffered on the way is seen by its checksum.
///
/// Pure: messages, bytes of sockets and the time in, messages, bytes and events out. One thread at a time.
class Tunnels {
public:
    explicit Tunnels(const TunnelOptions& tunnelOptions = {});

    /// @name Sockets
    /// @{
    /// A connection has been accepted; none while there are too many.
    std::optional<uint16_t> open(Time now);
    /// What `Connect` asked for is there.
    void connected(uint16_t number, Time now);
    /// How many bytes may be read from this socket now.
    size_t room(uint16_t number) const;
    void fromSocket(uint16_t number, const uint8_t* data, size_t size, Time now);
    /// The socket's peer sends no more.
    void socketFinished(uint16_t number, Time now);
    /// The socket has broken, or there never was one. It is not mentioned again.
    void socketFailed(uint16_t number, Time now);
    /// What is to be written to this socket.
    const ByteArray& toSocket(uint16_t number) const;
    void written(uint16_t number, size_t count);
    std::optional<TunnelEvent> nextEvent();
    /// @}

    /// @name Link
    /// @{
    /// A "TcpTunnelingMessage" or its response.
    void receive(const ByteArray& message, Time now);
    /// "UnsupportedMessageResponse": a request could not be read, or the other end knows no tunnels. Connections that
    /// it has not opened yet end after three of them.
    void unsupported(Time now);
    /// The message to send now, if any. No other is given until `sent()` was called.
    std::optional<ByteArray> nextMessage(Time now);
    ///
    /// What got lost is followed by silence: a receiver that waits for the rest of a packet, because its length was
    /// damaged, gives it up when nothing has come for 100 ms, and whoever goes on sending keeps it waiting.
    void sent(Delivery delivery, Time now);
    void advance(Time now);
    /// When `advance()` and `nextMessage()` are to be called next although nothing else happens: there is such a moment
    /// as long as there is a connection that this end has not answered, waits for, or has opened. In the past where
    /// there is something to say now; none while a message is under way, whose `sent()` comes first.
    std::optional<Time> deadline() const;
    /// @}

    /// Every connection breaks; the other end is told as far as messages still go out.
    void breakAll(Time now);

    /// Whether `open()` would give none.
    bool full() const { return all.size() >= options.mostConnections; }
    size_t connections() const { return all.size(); }
    const TunnelCounts& counts() const { return totals; }

private:
    enum class State { Connecting, Open, Closing };

    struct Connection {
        Connection(State began, const TunnelPace& pace, uint32_t position, bool opensIt, Time now)
            : state(began),
              outgoing(pace, position, opensIt, now),
              incoming(pace.buffer, position),
              firstPosition(position),
              heardAt(now),
              opens(opensIt),
              movedAt(now) {}

        State state;
        TunnelOutgoing outgoing;
        TunnelIncoming incoming;
        uint32_t firstPosition;
        Time heardAt;
        const bool opens;
        std::optional<Time> checkAt; // whether the wire still works from there to here; only of one that this end opens
        Time movedAt;                // when bytes, an end, or the connection itself came or got through
        std::optional<Time> askedSince;   // checks have gone out since then, and nothing has come back
        bool checking = false;            // the request that was made last is a check
        std::optional<TunnelAnswer> owed; // to the request received last
        unsigned answerTries = 0;         // of that answer
        bool shutDown = false;            // the socket's direction that ends here
        unsigned closings = 0;            // times that "Close" has been sent
        std::optional<Time> closeAt;      // when it is sent next
    };
    using Connections = std::map<uint16_t, Connection>;

    void takeRequest(const TunnelRequest& request, Time now);
    void takeOpen(const TunnelRequest& request, Time now);
    void makeRoom(Time now);
    void takeData(const TunnelRequest& request, Time now);
    void takeDamaged(const ByteArray& message, Time now);
    void suspect(std::optional<uint16_t> number, Time now);
    void noteTrouble(Time now);
    static void heard(Connection& connection, Time now);
    void moved(Connection& connection, Time now) const;
    Time checkInterval(const Connection& connection, Time now) const;
    bool isSilentTooLong(const Connection& connection, Time now) const;
    bool hasAnswer() const;
    void answerSent(Delivery delivery);
    void takeAnswer(const TunnelAnswer& answer, Time now);
    void takeSuccess(uint16_t number, Connection& connection, const TunnelAnswer& answer, Time now);
    void takeFailure(uint16_t number, Connection& connection, TcpTunnelingResult result);
    void owe(uint16_t number, Connection& connection, TcpTunnelingResult result);
    void answerStranger(uint16_t number, TcpTunnelingResult result);
    void shutDownWhenWritten(uint16_t number, Connection& connection);
    void beginClosing(Connection& connection, Time now);
    void breakOff(uint16_t number);
    void endWhenDone(uint16_t number);
    std::optional<ByteArray> nextAnswer();
    std::optional<ByteArray> nextRequest(Time now);
    std::optional<ByteArray> requestOf(uint16_t number, Connection& connection, Time now);
    std::optional<ByteArray> checkOf(uint16_t number, Connection& connection, Time now);
    static std::optional<ByteArray> closeOf(uint16_t number, Connection& connection, Time now);
    std::deque<uint16_t> inTurn() const;
    Connection* find(uint16_t number);
    const Connection* find(uint16_t number) const;

    TunnelOptions options;
    Connections all;
    std::deque<TunnelAnswer> toStrangers;
    std::deque<TunnelEvent> events;
    TunnelCounts totals;
    uint16_t nextNumber;
    uint32_t nextPosition;
    unsigned complaints = 0;                 // answers in a row that say "unsupported"
    uint16_t lastServed = 0;                 // whose request went out last
    bool inFlight = false;                   // a message was given and `sent()` not called
    std::optional<uint16_t> requestUnderWay; // whose that message is, where it is a request
    std::optional<TunnelAnswer> answerUnderWay;
    unsigned lostInARow = 0;         // messages that did not get out
    std::optional<Time> silentUntil; // after such a one
    std::optional<Time> troubleAt;   // when the line was last seen to lose or damage something
};

} // namespace hostlink::exchange
