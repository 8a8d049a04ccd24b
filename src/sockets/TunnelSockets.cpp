#include "TunnelSockets.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace hostlink::exchange {

namespace {

constexpr uint64_t listenerKey = 0x10000; // beyond the numbers of connections
constexpr size_t mostEvents = 32;
constexpr int noDelay = 1;
constexpr Time noRoomPause = std::chrono::milliseconds(250); // others may have given back what they had by then
constexpr uint32_t nothing = 0;                              // to be watched for

// A peer that sees an ordinary end would take what it has for the whole.
void breakOff(const Socket& socket) {
    const linger atOnce{1, 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

bool wouldBlock() {
    return errno == EAGAIN || errno == EINTR;
}

} // namespace

TunnelSockets::TunnelSockets(Tunnels& machine, std::vector<TcpAddress> connectTo)
    : tunnels(machine), server(std::move(connectTo)), waiting(::epoll_create1(EPOLL_CLOEXEC)) {
    if (!waiting) throw std::system_error(errno, std::generic_category(), "cannot wait for sockets");
}

void TunnelSockets::accept(Socket listeningSocket) {
    if (!watch(listeningSocket.get(), listenerKey, listeningWatched, EPOLLIN))
        throw std::system_error(errno, std::generic_category(), "cannot wait for connections");
    listening = std::move(listeningSocket);
}

void TunnelSockets::handle(Time now) {
    if (acceptAgain && now >= *acceptAgain) acceptAgain.reset();
    std::array<epoll_event, mostEvents> ready{};
    const int count = ::epoll_wait(waiting.get(), ready.data(), static_cast<int>(ready.size()), 0);
    for (int i = 0; i < count; ++i) {
        const epoll_event& event = ready[static_cast<size_t>(i)];
        if (event.data.u64 == listenerKey)
            acceptAll(now);
        else
            handleSocket(static_cast<uint16_t>(event.data.u64), event.events, now);
    }
    handleEvents(now);
    watchAll(now);
}

void TunnelSockets::acceptAll(Time now) {
    while (!tunnels.full()) {
        Socket socket(::accept4(listening.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket) {
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
                acceptAgain = now + noRoomPause;
            return;
        }
        ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
        connections[*tunnels.open(now)].socket = std::move(socket);
    }
}

void TunnelSockets::handleSocket(uint16_t number, uint32_t ready, Time now) {
    const auto found = connections.find(number);
    if (found == connections.end()) return; // an event before this one has ended it
    Connection& connection = found->second;
    if (connection.connecting) {
        handleConnected(number, connection, now);
        return;
    }
    bool well = true;
    if ((ready & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) well = readFrom(number, connection, now);
    if (well && (ready & EPOLLOUT) != 0) well = writeTo(number, connection);
    if (!well) fail(number, now);
}

void TunnelSockets::handleConnected(uint16_t number, Connection& connection, Time now) {
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(connection.socket.get(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error != 0) {
        connectNext(number, connection, now);
        return;
    }
    connection.connecting = false;
    tunnels.connected(number, now);
}

void TunnelSockets::connectNext(uint16_t number, Connection& connection, Time now) {
    connection.connecting = true;
    connection.watched = 0; // a new socket
    while (!connection.untried.empty()) {
        const TcpAddress address = connection.untried.front();
        connection.untried.erase(connection.untried.begin());
        connection.socket = beginToConnect(address);
        if (connection.socket) return;
    }
    fail(number, now);
}

// False when the socket has broken.
bool TunnelSockets::readFrom(uint16_t number, Connection& connection, Time now) {
    std::array<uint8_t, 16384> buffer{};
    const size_t room = std::min(tunnels.room(number), buffer.size());
    if (room == 0 || connection.ended) return true;
    const ssize_t count = ::recv(connection.socket.get(), buffer.data(), room, 0);
    if (count < 0) return wouldBlock();
    connection.ended = count == 0;
    if (connection.ended)
        tunnels.socketFinished(number, now);
    else
        tunnels.fromSocket(number, buffer.data(), static_cast<size_t>(count), now);
    return true;
}

bool TunnelSockets::writeTo(uint16_t number, Connection& connection) {
    const ByteArray& bytes = tunnels.toSocket(number);
    if (bytes.empty()) return true;
    const ssize_t count = ::send(connection.socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0) return wouldBlock();
    tunnels.written(number, static_cast<size_t>(count));
    return true;
}

void TunnelSockets::handleEvents(Time now) {
    for (auto& [number, connection] : connections)
        if (!connection.connecting && !writeTo(number, connection)) {
            fail(number, now);
            break; // the map has changed; the others have their turn when their sockets say so
        }
    while (const auto event = tunnels.nextEvent()) handleEvent(*event, now);
}

void TunnelSockets::handleEvent(const TunnelEvent& event, Time now) {
    if (event.kind == TunnelEvent::Kind::Connect) {
        Connection& connection = connections[event.connection];
        connection.untried = server;
        connectNext(event.connection, connection, now);
        return;
    }
    const auto found = connections.find(event.connection);
    if (found == connections.end()) return;
    if (event.kind == TunnelEvent::Kind::ShutDown) {
        ::shutdown(found->second.socket.get(), SHUT_WR);
        return;
    }
    if (event.kind == TunnelEvent::Kind::Break) breakOff(found->second.socket);
    connections.erase(found);
    acceptAgain.reset();
}

void TunnelSockets::fail(uint16_t number, Time now) {
    tunnels.socketFailed(number, now);
    breakOff(connections[number].socket); // where it is the system that failed, it still stands
    connections.erase(number);
    acceptAgain.reset();
}

void TunnelSockets::close(Time now) {
    listening = Socket();
    tunnels.breakAll(now);
    handleEvents(now);
}

// Nothing would ever be heard of what cannot be watched: a connection breaks, listening is tried again.
void TunnelSockets::watchAll(Time now) {
    if (listening && !watch(listening.get(), listenerKey, listeningWatched,
                            tunnels.full() || acceptAgain ? nothing : uint32_t{EPOLLIN}))
        acceptAgain = now + noRoomPause;
    std::optional<uint16_t> failed;
    for (auto& [number, connection] : connections) {
        uint32_t wanted = 0;
        if (connection.connecting || !tunnels.toSocket(number).empty()) wanted |= EPOLLOUT;
        if (!connection.connecting && !connection.ended && tunnels.room(number) > 0) wanted |= EPOLLIN;
        if (!watch(connection.socket.get(), number, connection.watched, wanted)) failed = number;
    }
    if (failed) fail(*failed, now); // another one is met by the next call, which the messages of this one bring about
}

// A socket that nothing is wanted of must not be watched at all: its end would be told without end.
bool TunnelSockets::watch(int descriptor, uint64_t key, uint32_t& watched, uint32_t wanted) {
    if (wanted == watched) return true;
    epoll_event event{};
    event.events = wanted;
    event.data.u64 = key;
    const int change = wanted == 0 ? EPOLL_CTL_DEL : watched == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD;
    if (::epoll_ctl(waiting.get(), change, descriptor, &event) != 0) return false;
    watched = wanted;
    return true;
}

} // namespace hostlink::exchange
