/// @file
/// What all commands have in common.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <hostlinkclient/Client.h>

#include "ExitCode.h"
#include "Output.h"
#include "Stop.h"
#include "WireOptions.h"

namespace command {

/// Options that every command has.
struct CommonOptions {
    WireOptions wire;
    std::string profile;
    std::string profiles; ///< path of their file; empty: the usual one
    bool json = false;
    int timeout = 3000; ///< milliseconds
    std::string record; ///< file; empty: nothing is recorded
    std::string logLevel = "off";
};

/// One run: its options, its output, its end, and its host once it is needed.
class Program {
public:
    Program(const CommonOptions& options, Output& output, Stop& stop);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    const CommonOptions& options() const { return common; }
    Output& output() { return out; }
    Stop& stop() { return end; }
    std::chrono::milliseconds timeout() const { return std::chrono::milliseconds(common.timeout); }

    /// The wire that was named, on the command line or by a profile; it may be none.
    /// @throw UsageError there is no such profile
    WireOptions wire() const;
    /// How long to wait for the host to say that it does not support what nothing else answers. Before `host()`.
    void waitForRefusals(std::chrono::milliseconds time) { refusalTime = time; }
    /// Its link is opened when it is asked for first.
    /// @throw UsageError no wire is named
    hostlink::Client& host();
    /// For who shall hear the host's first words: its link is not opened before `host()` is called.
    /// @throw UsageError no wire is named
    hostlink::Client& hostToBe();
    /// Has the link recorded, from its beginning.
    /// @throw UsageError the file cannot be written
    hostlink::Recorder recordInto(const std::string& file);
    /// How requests are made: within the time-out, and until Ctrl-C.
    hostlink::Call call() const;

private:
    const CommonOptions& common;
    Output& out;
    Stop& end;
    std::optional<std::chrono::milliseconds> refusalTime;
    std::optional<hostlink::Recorder> recorder;
    std::unique_ptr<hostlink::Client> client;
};

/// What a command does.
using Run = std::function<ExitCode(Program&)>;

} // namespace command
