#include "Socket.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <system_error>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <unistd.h>

namespace hostlink::exchange {

namespace {

constexpr int backlog = 16; // connections that wait to be accepted
constexpr int yes = 1;

Socket tcpSocket(int family) {
    return Socket(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

const sockaddr* general(const TcpAddress& address) {
    return reinterpret_cast<const sockaddr*>(&address.bytes);
}

bool listens(const Socket& socket, const TcpAddress& address) {
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    return ::bind(socket.get(), general(address), address.size) == 0 && ::listen(socket.get(), backlog) == 0;
}

} // namespace

Socket::~Socket() {
    if (fd >= 0) ::close(fd);
}

std::vector<TcpAddress> addressesOf(const std::string& host, uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* list = nullptr;
    const int code = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (code != 0) throw std::runtime_error("no address for \"" + host + "\": " + ::gai_strerror(code));
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(list, ::freeaddrinfo);
    std::vector<TcpAddress> addresses;
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
        TcpAddress address;
        address.size = entry->ai_addrlen;
        std::copy_n(reinterpret_cast<const char*>(entry->ai_addr), entry->ai_addrlen,
                    reinterpret_cast<char*>(&address.bytes));
        addresses.push_back(address);
    }
    return addresses;
}

Socket listenAt(const std::string& host, uint16_t port) {
    const TcpAddress address = addressesOf(host, port).front();
    Socket socket = tcpSocket(address.bytes.ss_family);
    if (!socket || !listens(socket, address))
        throw std::system_error(errno, std::generic_category(),
                                "cannot listen at " + host + " port " + std::to_string(port));
    return socket;
}

uint16_t portOf(const Socket& socket) {
    TcpAddress address;
    address.size = sizeof address.bytes;
    if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address.bytes), &address.size) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot tell the port");
    // The port stands at the same place in the addresses of both families.
    return ntohs(reinterpret_cast<const sockaddr_in*>(&address.bytes)->sin_port);
}

Socket beginToConnect(const TcpAddress& address) {
    Socket socket = tcpSocket(address.bytes.ss_family);
    if (!socket) return socket;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    if (::connect(socket.get(), general(address), address.size) != 0 && errno != EINPROGRESS) return Socket();
    return socket;
}

} // namespace hostlink::exchange
