/// @file
/// Connections through the host.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <exchange/Tunnels.h>
#include <sockets/TunnelSockets.h>

#include "hostlinkclient/Result.h"
#include "hostlinkclient/Tunnel.h"
#include "hostlinkclient/session/Core.h"
#include "hostlinkclient/session/Pump.h"

namespace hostlink {

/// Lets tunnels and their sockets live on a thread of their own.
class HOSTLINK_HIDDEN Tunnel::Run : public Companion, public std::enable_shared_from_this<Run> {
public:
    /// @throw std::exception nothing can listen there; the text says why
    Run(std::shared_ptr<Core> with, const TunnelSettings& settings);

    /// Begins; a failure where that is not possible.
    std::optional<Failure> start();
    uint16_t port() const { return listensAt; }
    TunnelStatistics statistics() const;
    /// Ends for good.
    void finish();
    void close() override;

private:
    std::optional<exchange::Time> turn(exchange::Time now);
    void ask(const ByteArray& message);
    Session::Handle listen(MessageId id);
    void publish();
    void sayGoodbye();

    const std::shared_ptr<Core> core;
    const std::string what;

    // On the pump's thread, once it runs.
    exchange::Tunnels tunnels;
    exchange::TunnelSockets sockets;

    uint16_t listensAt;
    Session::Handle requests; // set before the thread starts, ended by finish()
    Session::Handle answers;

    mutable std::mutex mutex; // guards what is published
    TunnelStatistics published;

    Pump pump; // the last: its thread uses all the others
};

} // namespace hostlink
