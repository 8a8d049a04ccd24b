/// @file
/// The loop of the host simulator.
#pragma once

#include <chrono>
#include <iosfwd>
#include <optional>
#include <string>

#include <descriptor/Descriptor.h>
#include <hostsim/HostOnLine.h>
#include <hostsim/LinePacer.h>
#include <hostsim/SimulatedHost.h>
#include <terminal/LinePort.h>

#include "SimulatorOptions.h"
#include "TunnelEnd.h"

/// Lets a host live on a port: one thread, one poll, woken by bytes, signals, commands and the host's own deadlines.
class Simulator {
public:
    /// Blocks SIGINT, SIGTERM and SIGHUP for the process; the descriptor becomes readable when one has come.
    /// @throw std::system_error the signals cannot be taken over
    static descriptor::Descriptor takeSignals();

    /// @param signalDescriptor what `takeSignals()` gave: it ends `run()`
    /// @param output           what people and programs are told
    /// @param log              what `--verbose` prints
    Simulator(const SimulatorOptions& simulatorOptions, LinePort& linePort, descriptor::Descriptor signalDescriptor,
              std::ostream& output, std::ostream& log);

    /// Runs until a signal, "quit", or the idle time asked for.
    /// @throw std::system_error the line is lost
    void run();

    const hostsim::HostCounts& counts() const { return endpoint.counts(); }

private:
    hostsim::Time now() const;
    void step(hostsim::Time time);
    void sendInputEvents(hostsim::Time time);
    void writeToLine(hostsim::Time time);
    bool flush(hostsim::Time time);
    void readFromLine(hostsim::Time time);
    void readCommands(hostsim::Time time);
    bool isIdle(hostsim::Time time) const;
    std::optional<hostsim::Time> nextWake(hostsim::Time time) const;
    void wait(hostsim::Time time);

    SimulatorOptions options;
    LinePort& port;
    std::ostream& out;
    std::chrono::steady_clock::time_point began;
    hostsim::SimulatedHost endpoint;
    hostsim::HostOnLine host;
    hostsim::LinePacer fromModule;
    hostsim::LinePacer toModule;
    std::optional<TunnelEnd> tunnel;
    descriptor::Descriptor signals;

    ByteArray unwritten;     // arrived at the end of the line, not yet taken by the system
    std::string commandText; // of a line that has not ended yet
    bool commandsOpen;
    bool ended = false;
    std::optional<hostsim::Time> nextInputEvent;
    uint16_t nextButton = 1;
    hostsim::Time lastActivity{0};
};
