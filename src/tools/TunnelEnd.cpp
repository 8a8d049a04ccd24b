#include "TunnelEnd.h"

#include <cstdlib>

#include <hostlink/HostLinkMessage.h>

using hostsim::Time;
namespace exchange = hostlink::exchange;

namespace {

constexpr unsigned long highestPort = 65535;

struct Server {
    std::string host;
    std::string port;
};

// The colon of the port is the last one; brackets are around an address that has some itself.
Server serverOf(const std::string& text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos) return {};
    std::string host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    return {host, text.substr(colon + 1)};
}

std::vector<exchange::TcpAddress> addressesOf(const std::string& text) {
    const Server server = serverOf(text);
    return exchange::addressesOf(server.host, static_cast<uint16_t>(std::strtoul(server.port.c_str(), nullptr, 10)));
}

bool isOfATunnel(const ByteArray& message) {
    const MessageId id = HostLinkMessage::messageId(message);
    return id == MSG_TcpTunneling || id == MSG_TcpTunnelingResponse;
}

exchange::TunnelOptions optionsFor(int maxPacketSize, Time packetTimeout) {
    exchange::TunnelOptions options;
    options.pace = exchange::paceFor(maxPacketSize, packetTimeout);
    return options;
}

} // namespace

bool TunnelEnd::isServer(const std::string& text) {
    const Server server = serverOf(text);
    const bool digits = !server.port.empty() && server.port.size() <= 5 &&
                        server.port.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long port = digits ? std::strtoul(server.port.c_str(), nullptr, 10) : 0;
    return !server.host.empty() && port > 0 && port <= highestPort;
}

TunnelEnd::TunnelEnd(const std::string& server, int maxPacketSize, Time packetTimeout)
    : tunnels(optionsFor(maxPacketSize, packetTimeout)), sockets(tunnels, addressesOf(server)) {}

std::optional<std::vector<ByteArray>> TunnelEnd::handle(const ByteArray& message) {
    if (!isOfATunnel(message)) return std::nullopt;
    tunnels.receive(message, latest);
    return std::vector<ByteArray>{}; // it speaks in messages()
}

void TunnelEnd::finished(const ByteArray& message, bool acknowledged) {
    if (isOfATunnel(message))
        tunnels.sent(acknowledged ? exchange::Delivery::Accepted : exchange::Delivery::Unknown, latest);
}

std::vector<ByteArray> TunnelEnd::messages(Time now) {
    latest = now;
    tunnels.advance(now);
    sockets.handle(now);
    std::vector<ByteArray> messages;
    if (const auto message = tunnels.nextMessage(now)) messages.push_back(*message);
    // An answer may have been the last of its connection. What is found out only now, for example that a connection
    // could not be made, is due at once.
    sockets.handle(now);
    return messages;
}

std::optional<Time> TunnelEnd::deadline() const {
    const auto due = tunnels.deadline();
    if (!due) return std::nullopt;
    return std::chrono::ceil<Time>(*due);
}
