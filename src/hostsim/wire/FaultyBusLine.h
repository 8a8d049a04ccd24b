/// @file
/// A bus with faults, and the host on it.
#pragma once

#include <hostsim/HostOnBus.h>
#include <hostsim/SimulatedHost.h>

#include "FaultDice.h"

namespace faultywire {

/// Stands between the bus and a `HostOnBus` and does to each packet, in either direction, what the dice say. What is
/// done to the answer of a message packet holds for all reads of it, a damaged byte for one read. Not locked.
class FaultyBusLine {
public:
    FaultyBusLine(hostsim::HostOnBus& busHost, WireJournal& wireJournal) : host(busHost), journal(wireJournal) {}

    FaultDice& dice() { return chance; }

    void write(const ByteArray& bytes, hostsim::Time now);
    ByteArray read(size_t count, hostsim::Time now);

private:
    ByteArray answer(size_t count, hostsim::Time now);

    hostsim::HostOnBus& host;
    WireJournal& journal;
    FaultDice chance;
    ByteArray refusal;                       // in place of the host's answer; empty: none
    WireFault answerFault = WireFault::None; // what happens to the answer to the latest write
    hostsim::Time due{0};                    // when a late one comes
};

} // namespace faultywire
