/// @file
/// The host's end of tunnels where every connection leads to an echo.
#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include <exchange/Tunnels.h>
#include <hostlink/HostLinkMessage.h>

/// One thread at a time.
class EchoTunnels {
public:
    /// What the host says to a message of a tunnel; none where it is another.
    std::optional<std::vector<ByteArray>> take(const ByteArray& message) {
        const MessageId id = HostLinkMessage::messageId(message);
        if (id != MSG_TcpTunneling && id != MSG_TcpTunnelingResponse) return std::nullopt;
        tunnels.receive(message, now());
        return speak();
    }
    /// What it has to say, also when it is not spoken to: it says again what is not answered.
    std::vector<ByteArray> speak() {
        using Kind = hostlink::exchange::TunnelEvent::Kind;
        tunnels.advance(now());
        while (const auto event = tunnels.nextEvent()) {
            if (event->kind == Kind::Connect) tunnels.connected(event->connection, now());
            if (event->kind == Kind::Connect) last = event->connection;
            if (event->kind == Kind::ShutDown) tunnels.socketFinished(event->connection, now());
        }
        const ByteArray arrived = tunnels.toSocket(last);
        tunnels.written(last, arrived.size());
        tunnels.fromSocket(last, arrived.data(), arrived.size(), now());
        std::vector<ByteArray> said;
        while (const auto message = tunnels.nextMessage(now())) {
            said.push_back(*message);
            tunnels.sent(hostlink::exchange::Delivery::Accepted, now());
        }
        return said;
    }
    const hostlink::exchange::Tunnels& machine() const { return tunnels; }

private:
    static hostlink::exchange::Time now() { return std::chrono::steady_clock::now().time_since_epoch(); }

    hostlink::exchange::Tunnels tunnels;
    uint16_t last = 0; // of the connections
};
