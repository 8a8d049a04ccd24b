/// @file
/// A descriptor that closes itself, and TCP addresses by their names.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <sys/socket.h>

namespace hostlink::exchange {

/// Owns a descriptor.
class Socket {
public:
    explicit Socket(int descriptor = -1) : fd(descriptor) {}
    Socket(Socket&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket();

    int get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }

private:
    int fd;
};

/// Where a TCP socket listens or connects.
struct TcpAddress {
    sockaddr_storage bytes{};
    socklen_t size = 0;
};

/// All addresses of a host, in the order in which they are to be tried. May ask a name server, and wait for it.
/// @throw std::runtime_error there is none; the text says why
std::vector<TcpAddress> addressesOf(const std::string& host, uint16_t port);

/// A socket that listens, non-blocking.
/// @throw std::runtime_error, std::system_error nothing can listen there; the text names host and port
Socket listenAt(const std::string& host, uint16_t port);

/// The port that a listening socket has got.
/// @throw std::system_error the system does not say
uint16_t portOf(const Socket& socket);

/// A non-blocking socket that has begun to connect; `errno` and none where it cannot even begin.
Socket beginToConnect(const TcpAddress& address);

} // namespace hostlink::exchange
