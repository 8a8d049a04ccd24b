/// @file
/// What stands at the far end of a serial line: a host, however it is made.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include <hostsim/LineEnd.h>
#include <hostsim/wire/WireJournal.h>

#include "HostSide.h"

namespace truth {

/// Not locked. Notes in the journal which messages it has put together, and which of its own arrived.
class FarHost {
public:
    virtual ~FarHost() = default;

    virtual hostsim::LineEnd& end() = 0;
    /// Queues a message for the module.
    virtual void send(const ByteArray& message) = 0;
    /// How many messages it has put together.
    virtual uint64_t messagesReceived() const = 0;
    /// Whether it has nothing to send, and has done with what it got.
    virtual bool isIdle() const = 0;
    /// Readable when the end has something to write; -1: only its deadlines tell.
    virtual int descriptor() const { return -1; }
};

using MakeFarHost = std::function<std::unique_ptr<FarHost>(const Timing&, faultywire::WireJournal&)>;

/// The host behind a pseudo terminal and a wire with faults.
std::unique_ptr<HostSide> makeLineHost(const Timing& timing, const MakeFarHost& makeHost);

} // namespace truth
