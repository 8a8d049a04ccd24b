/// @file
/// The host's end of tunnels.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <exchange/Tunnels.h>
#include <hostsim/HostApplication.h>
#include <hostsim/HostOnLine.h>
#include <hostsim/HostTime.h>
#include <sockets/TunnelSockets.h>

/// Connects what the module tunnels to a TCP server.
class TunnelEnd : public hostsim::HostService {
public:
    /// @param server        "HOST:PORT"
    /// @param packetTimeout how long this host waits inside a packet for its next byte
    /// @throw std::runtime_error there is no such host; std::system_error the system has no descriptor left
    TunnelEnd(const std::string& server, int maxPacketSize,
              hostsim::Time packetTimeout = hostsim::LineOptions{}.packetTimeout);

    std::optional<std::vector<ByteArray>> handle(const ByteArray& message) override;
    void finished(const ByteArray& message, bool acknowledged) override;

    /// Readable when `messages()` wants to be called; so does `deadline()`.
    int descriptor() const { return sockets.descriptor(); }
    /// What the host has to say now; no more before that is through.
    std::vector<ByteArray> messages(hostsim::Time now);
    std::optional<hostsim::Time> deadline() const;

    /// Whether it is what the constructor takes: "127.0.0.1:80", "[::1]:80".
    static bool isServer(const std::string& text);

private:
    hostsim::Time latest{0}; // of the last call
    hostlink::exchange::Tunnels tunnels;
    hostlink::exchange::TunnelSockets sockets;
};
