/// @file
/// The simulated host behind a serial line that is nothing but memory.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include <hostlinkclient/Wire.h>
#include <hostsim/HostOnLine.h>
#include <hostsim/SimulatedHost.h>
#include <hostsim/wire/FaultySerialLine.h>

namespace truth {

/// As fast as the machine: what the line and the host would wait for, they pass over. A packet that is written, its
/// response, and what the host sends for it have all crossed, or been lost for good, when the write comes back; what is
/// delivered is delivered by a thread of the link, as by any other. Outlives the links. Any thread.
class MemoryHost {
public:
    MemoryHost();

    /// A link to it for a client; one at a time.
    hostlink::Wire wire();
    /// From the next packet on; begins the random sequence anew.
    void setFaults(const faultywire::WireFaults& faults);
    /// What it really holds.
    hostlink::Value held(uint16_t state);
    /// How often packets of messages have been written to it.
    uint64_t packetsWritten();

private:
    class Link;
    friend class Link;

    std::mutex mutex;             // guards all below
    faultywire::WireJournal none; // keeps nothing
    hostsim::SimulatedHost host;
    hostsim::HostOnLine end;
    faultywire::FaultySerialLine line;
    hostsim::Time clock{0}; // passes with each write, and where somebody waits
    uint64_t written = 0;
};

} // namespace truth
