/// @file
/// TCP connections through the host.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <hostlink/HostLinkExport.h>

namespace hostlink {

/// How connections are taken.
struct TunnelSettings {
    /// Where to listen: a name or an address of this machine. Whoever can reach it can reach what is behind the host.
    std::string address = "127.0.0.1";
    /// The port; 0: one that the system chooses.
    uint16_t port = 0;
    /// How many connections at a time; more wait until one ends.
    std::size_t connections = 32;
    /// How long the host may say nothing at all to a connection that waits for it, times without a link included.
    std::chrono::milliseconds patience{30000};
    /// How long the host waits inside a packet for its next byte, longer than 0. What is asked again after a loss waits
    /// in proportion. Shorter only where the host was set so: on a line that damages much, most of the time is waiting.
    std::chrono::milliseconds hostPacketTimeout{100};
};

/// What a tunnel has carried.
struct TunnelStatistics {
    std::size_t open = 0;  ///< connections now
    uint64_t opened = 0;   ///< connections that the host has made
    uint64_t refused = 0;  ///< connections that the host could not make
    uint64_t finished = 0; ///< connections that ended in order
    uint64_t broken = 0;   ///< connections that ended otherwise
    uint64_t bytesToHost = 0;
    uint64_t bytesFromHost = 0;
    uint64_t repeated = 0; ///< requests that were sent again
    uint64_t damaged = 0;  ///< messages that had suffered on the way
};

/// A listening TCP socket whose connections are carried over the wire; the host makes them at its end. Copies are one;
/// when the last goes, or the client is closed, it ends and its connections break. Any thread.
class HOSTLINK_EXPORT Tunnel {
public:
    Tunnel();
    Tunnel(const Tunnel& other);
    Tunnel& operator=(const Tunnel& other);
    ~Tunnel();

    /// The port on which it listens; 0 for none.
    uint16_t port() const;
    TunnelStatistics statistics() const;
    /// Ends it now.
    void end();

    class Run;
    /// For the library's own use.
    explicit Tunnel(std::shared_ptr<Run> with);

private:
    std::shared_ptr<Run> run;
};

} // namespace hostlink
