/// @file
/// How far a transfer has come.
#pragma once

#include <chrono>
#include <string>

#include <hostlinkclient/Transfer.h>

#include "command/Output.h"

namespace command {

/// Draws one line again and again on a terminal; elsewhere it prints a line for each second, in JSON an object. On one
/// thread at a time.
class ProgressLine {
public:
    explicit ProgressLine(Output& output);
    void show(const hostlink::Progress& now);
    /// The line is complete: what comes next begins a new one.
    void end();

private:
    Output& out;
    const bool terminal;
    bool drawn = false;
    std::chrono::steady_clock::time_point last{};
};

} // namespace command
