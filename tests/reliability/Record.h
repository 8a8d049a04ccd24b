/// @file
/// Everything that one truth run has seen, on both sides of the wire.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostsim/wire/WireJournal.h>

#include "HostSide.h"
#include "Timing.h"

namespace truth {

using faultywire::Moment;

/// One `writeData` of the transport.
struct Attempt {
    ByteArray packet;
    Moment begin;
    Moment end;
    WriteDataResponse response;
};

/// One `writeMessage` of the application.
struct Call {
    size_t message; ///< index into `Record::outbound`
    Moment begin;
    Moment end;
    bool result;
    size_t firstAttempt;
    size_t attempts;
};

/// What came up from the link (a packet) or from the transport (a message).
struct Arrival {
    Moment at;
    unsigned link; ///< how often the link had been made anew
    ByteArray bytes;
};

/// The end of a time with faults.
struct Recovery {
    Moment faultsEnded;
    Moment outboundCarried;
    Moment inboundCarried;
    bool outbound = false; ///< whether the link carried a message again
    bool inbound = false;
};

struct Record {
    LinkKind kind = LinkKind::Uart;
    Timing timing;
    int maxPacketSize = 64;
    std::vector<ByteArray> outbound; ///< each of them different
    std::vector<ByteArray> inbound;
    std::vector<Call> calls;
    std::vector<Attempt> attempts;
    std::vector<Arrival> packets;
    std::vector<Arrival> messages;
    std::vector<faultywire::Entry> journal;
    std::vector<Recovery> recoveries;
    std::vector<Moment> reopened;
    std::vector<std::pair<Moment, Moment>> stalls; ///< when the machine let nobody run
    std::vector<std::string> failures;             ///< of the run itself
    Duration busy{0};                              ///< time of the parts with faults, for the throughput
};

} // namespace truth
