/// @file
/// What the host simulator is asked to do.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <hostsim/HostOnLine.h>
#include <hostsim/SimulatedHost.h>

struct SimulatorOptions {
    std::string device;     ///< serial device to open; empty: make a pseudo terminal
    std::string link;       ///< symbolic link to the pseudo terminal; empty: none
    unsigned long baud = 0; ///< bits per second; 0: as fast as the system can (pseudo terminal), 115200 (device)
    hostsim::HostOptions host;
    hostsim::LineOptions line;
    std::optional<std::chrono::milliseconds> inputEventEvery;
    std::optional<std::chrono::milliseconds> exitAfterIdle;
    std::string file;      ///< that is sent as soon as the module is heard; empty: none
    std::string tunnel;    ///< "HOST:PORT" of the server at the far end of tunnels; empty: an echo
    bool commands = false; ///< read commands from the standard input
    bool verbose = false;
    bool json = false;
};

/// @return the exit code when the program is to end at once: help was asked for, or the arguments are wrong
std::optional<int> parseCommandLine(int argc, char** argv, SimulatorOptions& options);
