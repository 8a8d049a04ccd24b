#include "RigControlServer.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <sys/socket.h>
#include <sys/un.h>

// Threads: `acceptor` runs acceptLoop(), each connection's thread runs serve(). To stop: shutting down the listener
// ends the acceptor, then shutting down each connection ends its thread; a connection is closed after its thread is
// joined.

namespace busrig {

namespace {

descriptor::Descriptor listenOn(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw std::runtime_error("control socket: path too long: " + path);
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    descriptor::Descriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    if (listener && ::bind(listener.get(), generic, sizeof address) == 0 && ::listen(listener.get(), 16) == 0) {
        return listener;
    }
    throw std::runtime_error("control socket " + path + ": " + strerror(errno));
}

bool sendAll(int socket, const std::string& text) {
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t count = ::send(socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        sent += static_cast<size_t>(count);
    }
    return true;
}

} // namespace

RigControlServer::RigControlServer(RigCommands& rigCommands, const std::string& socketPath)
    : commands(rigCommands), listener(listenOn(socketPath)), acceptor([this] { acceptLoop(); }) {}

RigControlServer::~RigControlServer() {
    ::shutdown(listener.get(), SHUT_RDWR);
    acceptor.join();
    {
        const std::lock_guard<std::mutex> lock(mutex);
        for (const Connection& connection : connections) ::shutdown(connection.socket.get(), SHUT_RDWR);
    }
    for (Connection& connection : connections) connection.thread.join(); // nobody adds any more
}

void RigControlServer::acceptLoop() {
    for (;;) {
        descriptor::Descriptor socket(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket && (errno == EINTR || errno == ECONNABORTED)) continue;
        if (!socket) return;
        reap();
        const std::lock_guard<std::mutex> lock(mutex);
        connections.push_back({std::move(socket), false, {}});
        Connection& connection = connections.back();
        connection.thread = std::thread([this, &connection] { serve(connection); });
    }
}

void RigControlServer::serve(Connection& connection) {
    const int socket = connection.socket.get();
    std::string received;
    char buffer[4096];
    for (bool open = true; open;) {
        const ssize_t count = ::recv(socket, buffer, sizeof buffer, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        received.append(buffer, static_cast<size_t>(count));
        for (size_t end; open && (end = received.find('\n')) != std::string::npos;) {
            const std::string answer = commands.execute(received.substr(0, end));
            received.erase(0, end + 1);
            open = sendAll(socket, answer + "\n");
        }
    }
    const std::lock_guard<std::mutex> lock(mutex);
    connection.finished = true;
}

void RigControlServer::reap() {
    std::list<Connection> finished;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        for (auto at = connections.begin(); at != connections.end();) {
            const auto next = std::next(at);
            if (at->finished) finished.splice(finished.end(), connections, at);
            at = next;
        }
    }
    for (Connection& connection : finished) connection.thread.join();
}

} // namespace busrig
