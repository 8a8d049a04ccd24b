#include "RigControlServer.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

// Threads: `acceptor` runs acceptLoop(), each connection's thread runs serve(). To stop: shutting down the listener
// ends the acceptor, then shutting down each connection ends its thread; descriptors are closed after their thread is
// joined.

namespace busrig {

namespace {

int listenOn(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw std::runtime_error("control socket: path too long: " + path);
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    if (descriptor >= 0 && ::bind(descriptor, generic, sizeof address) == 0 && ::listen(descriptor, 16) == 0) {
        return descriptor;
    }
    const std::string reason = strerror(errno);
    if (descriptor >= 0) ::close(descriptor);
    throw std::runtime_error("control socket " + path + ": " + reason);
}

bool sendAll(int descriptor, const std::string& text) {
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t count = ::send(descriptor, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
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
    shutdown(listener, SHUT_RDWR);
    acceptor.join();
    ::close(listener);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        for (const Connection& connection : connections) shutdown(connection.descriptor, SHUT_RDWR);
    }
    for (Connection& connection : connections) { // nobody adds any more
        connection.thread.join();
        ::close(connection.descriptor);
    }
}

void RigControlServer::acceptLoop() {
    for (;;) {
        const int descriptor = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0 && (errno == EINTR || errno == ECONNABORTED)) continue;
        if (descriptor < 0) return;
        reap();
        const std::lock_guard<std::mutex> lock(mutex);
        connections.push_back({descriptor, false, {}});
        Connection& connection = connections.back();
        connection.thread = std::thread([this, &connection] { serve(connection); });
    }
}

void RigControlServer::serve(Connection& connection) {
    int descriptor = -1;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        descriptor = connection.descriptor;
    }
    std::string received;
    char buffer[4096];
    for (bool open = true; open;) {
        const ssize_t count = ::recv(descriptor, buffer, sizeof buffer, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        received.append(buffer, static_cast<size_t>(count));
        for (size_t end; open && (end = received.find('\n')) != std::string::npos;) {
            const std::string answer = commands.execute(received.substr(0, end));
            received.erase(0, end + 1);
            open = sendAll(descriptor, answer + "\n");
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
    for (Connection& connection : finished) {
        connection.thread.join();
        ::close(connection.descriptor);
    }
}

} // namespace busrig
