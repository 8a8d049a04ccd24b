/// @file
/// The sockets of tunnelled connections.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <exchange/ExchangeTime.h>
#include <exchange/Tunnels.h>

#include "Socket.h"

namespace hostlink::exchange {

/// The sockets at one end of the tunnels: those that a listening socket accepts, or those that connect to a server.
/// Never blocks: whoever owns it waits for its one descriptor beside its own, and calls `handle()`. One thread at a
/// time.
class TunnelSockets {
public:
    /// @param connectTo addresses of the server that the other end's connections lead to; none where this end listens
    /// @throw std::system_error the system has no descriptor left
    explicit TunnelSockets(Tunnels& machine, std::vector<TcpAddress> connectTo = {});

    /// Accepts connections of this socket from now on.
    /// @throw std::system_error the kernel has no room to watch it
    void accept(Socket listeningSocket);

    /// Becomes readable when `handle()` has something to do.
    int descriptor() const { return waiting.get(); }

    /// Does what can be done now: for the sockets, and for the tunnels, which may have messages to send afterwards.
    /// Also to be called after the tunnels have received a message and after their `advance()`.
    void handle(Time now);
    /// When `handle()` is to be called although nothing is readable: to try again what the system had no room for.
    std::optional<Time> deadline() const { return acceptAgain; }

    /// Breaks every connection and accepts no more.
    void close(Time now);

private:
    struct Connection {
        Socket socket;
        std::vector<TcpAddress> untried; // while it connects
        bool connecting = false;
        bool ended = false; // its peer sends no more
        uint32_t watched = 0;
    };
    using Connections = std::map<uint16_t, Connection>;

    void acceptAll(Time now);
    void handleSocket(uint16_t number, uint32_t ready, Time now);
    void handleConnected(uint16_t number, Connection& connection, Time now);
    void connectNext(uint16_t number, Connection& connection, Time now);
    bool readFrom(uint16_t number, Connection& connection, Time now);
    bool writeTo(uint16_t number, Connection& connection);
    void handleEvents(Time now);
    void handleEvent(const TunnelEvent& event, Time now);
    void fail(uint16_t number, Time now);
    void watchAll(Time now);
    bool watch(int descriptor, uint64_t key, uint32_t& watched, uint32_t wanted);

    Tunnels& tunnels;
    std::vector<TcpAddress> server;
    Socket waiting; // epoll: all sockets behind one descriptor
    Socket listening;
    uint32_t listeningWatched = 0;
    std::optional<Time> acceptAgain; // the system had no room; earlier when a connection ends
    Connections connections;
};

} // namespace hostlink::exchange
