/// @file
/// How far a transfer has come.
#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include <console/ProgressLine.h>
#include <hostlinkclient/Transfer.h>

#include "command/Output.h"

namespace command {

/// Draws one line again and again on a terminal; elsewhere it prints a line for each second, in JSON an object. Any
/// thread.
class ProgressLine {
public:
    explicit ProgressLine(Output& output) : out(output) {}
    void show(const hostlink::Progress& now);
    /// Something else that happens meanwhile, on a line of its own.
    void tell(const std::string& text, const json::Object& object);
    /// The line is complete: what comes next begins a new one.
    void end();

private:
    Output& out;
    std::mutex mutex; ///< guards the rest
    console::ProgressLine drawn;
    std::chrono::steady_clock::time_point last{};
};

} // namespace command
