/// @file
/// The loop of the host simulator.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include <descriptor/Descriptor.h>
#include <hostport/HostOnPort.h>
#include <hostsim/FileSending.h>
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
    /// @throw std::runtime_error the line is lost, or the file of `--send` cannot be read
    void run();

    const hostsim::HostCounts& counts() const { return host.host().counts(); }

private:
    void step(hostsim::Time time);
    void sendInputEvents(hostsim::Time time);
    void sendFiles(hostsim::Time time);
    void readCommands(hostsim::Time time);
    hostsim::Time lastActivity() const;
    bool isIdle(hostsim::Time time) const;
    std::optional<hostsim::Time> nextWake(hostsim::Time time) const;
    void wait(hostsim::Time time);

    SimulatorOptions options;
    LinePort& port;
    std::ostream& out;
    HostOnPort host;
    hostsim::FileSending files;
    std::optional<TunnelEnd> tunnel;
    descriptor::Descriptor signals;

    std::string commandText; // of a line that has not ended yet
    bool commandsOpen;
    bool ended = false;
    std::optional<hostsim::Time> nextInputEvent;
    uint16_t nextButton = 1;
    hostsim::Time lastCommand{0};
};
