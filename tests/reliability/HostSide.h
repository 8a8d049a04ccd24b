/// @file
/// The far end of a link: the simulated host behind a wire with faults.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostsim/wire/WireFault.h>
#include <hostsim/wire/WireJournal.h>

#include "Timing.h"

namespace truth {

enum class LinkKind { Uart, I2c, Spi };

/// "uart", "i2c", "spi": as the factory calls it.
const char* nameOf(LinkKind kind);

class HostSide {
public:
    virtual ~HostSide() = default;

    /// How the module reaches this host.
    virtual HostLinkPhysicalLayer::Properties properties() const = 0;
    virtual void setFaults(const faultywire::WireFaults& faults) = 0;
    /// The host queues a message for the module.
    virtual void send(const ByteArray& message) = 0;
    /// What has happened since the last call.
    virtual std::vector<faultywire::Entry> takeJournal() = 0;
    /// Off: nothing is remembered, however long the run is. On at the beginning.
    virtual void keepJournal(bool on) = 0;
    /// How many messages the host has put together.
    virtual uint64_t messagesReceived() = 0;
    /// Until the host has nothing to send and nothing is on its way; false when a very generous time is over.
    virtual bool waitUntilQuiet() = 0;
};

std::unique_ptr<HostSide> makeUartHost(const Timing& timing);

} // namespace truth
