/// @file
/// A serial line with faults, and the host at its end.
#pragma once

#include <deque>
#include <optional>

#include <hostsim/LineEnd.h>

#include "FaultDice.h"

namespace faultywire {

/// Drives a host's end and does to each packet on the way, in either direction, what the dice say. Knows no device
/// and no thread. Not locked.
class FaultySerialLine {
public:
    /// @param hostEnd sends one packet a write; not owned, must live longer
    FaultySerialLine(hostsim::LineEnd& hostEnd, WireJournal& wireJournal) : host(hostEnd), journal(wireJournal) {}

    FaultDice& dice() { return chance; }

    /// Bytes of the module, as it wrote them. They are cut by their length fields: the module's end is clean.
    void fromModule(const ByteArray& bytes, hostsim::Time now);
    /// Bytes for the module that are due; empty when there are none.
    ByteArray toModule(hostsim::Time now);
    void advance(hostsim::Time now) { host.advance(now); }
    std::optional<hostsim::Time> nextDeadline(hostsim::Time now) const;

    /// Whether nothing is on its way.
    bool isQuiet() const { return uncut.empty() && late.empty(); }

private:
    struct Answer {
        hostsim::Time due;
        ByteArray packet;
        WireFault fault;
    };

    void cross(const ByteArray& packet, hostsim::Time now);
    bool takeFromHost(hostsim::Time now);
    void put(const ByteArray& packet, WireFault fault);

    hostsim::LineEnd& host;
    WireJournal& journal;
    FaultDice chance;
    ByteArray uncut;         // of the module's bytes
    std::deque<Answer> late; // in order: one that is late holds up those behind it
    ByteArray ready;
};

} // namespace faultywire
