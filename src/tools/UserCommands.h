/// @file
/// What a person can tell the simulator while it runs.
#pragma once

#include <string>

#include <hostsim/FileSending.h>
#include <hostsim/SimulatedHost.h>

/// The answer to one command line.
struct CommandResult {
    std::string text; ///< to be printed; empty: nothing to say
    bool quit = false;
};

/// Whom commands are for.
struct CommandedHost {
    hostsim::SimulatedHost& host;
    hostsim::FileSending& files;
};

/// Carries out one line: "press N", "set ID VALUE", "get ID", "burst N", "send-file PATH", "abort-file", "counts",
/// "help", "quit".
/// @param json answer in lines of `--json`
CommandResult runCommand(const std::string& line, const CommandedHost& to, bool json);
