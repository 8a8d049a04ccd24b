// hostlink: talks to a host.
#include <csignal>
#include <exception>
#include <iostream>
#include <string>

#include <log4cplus/initializer.h>

#include <commandline/CommandLine.h>
#include <console/Logging.h>

#include "Program.h"
#include "UsageError.h"
#include "commands/Commands.h"

namespace {

using command::ExitCode;

constexpr const char* exitCodes =
    "Exit code: 0 done; 1 the host answered, and not as asked; 2 the command is wrong, nothing was\n"
    "sent; 3 the host has not got it; 4 the host may have acted on it.";

void declareCommon(const commandline::Command& app, command::CommonOptions& options) {
    app.option("--profile", options.profile, "Name of a profile, which says what is not said here").argument("PROFILE");
    app.option("--config", options.profiles, "File with the profiles [$XDG_CONFIG_HOME/hostlink/profiles.toml]")
        .argument("FILE");
    app.flag("--json", options.json, "One JSON object a line");
    app.option("--timeout", options.timeout, "How long a request may take, in milliseconds")
        .argument("MS")
        .positive()
        .showPreset();
    app.option("--record", options.record, "Record what goes over the wire, as pcapng").argument("FILE");
    app.option("--log-level", options.logLevel, "What the library logs to the standard error")
        .argument("LEVEL")
        .oneOf({"trace", "debug", "info", "warn", "error", "off"})
        .showPreset();
}

ExitCode runChosen(const command::Run& chosen, const command::CommonOptions& options) {
    command::Stop stop; // first: threads that are made later take no signals
    const log4cplus::Initializer logging;
    console::startLogging(options.logLevel);
    command::Output output(std::cout, std::cerr, options.json, [&stop] { stop.request(); });
    try {
        command::Program program(options, output, stop);
        return chosen(program);
    } catch (const command::UsageError& error) {
        return output.failed(ExitCode::BadUsage, "BadUsage", error.what());
    }
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // a reader of the output that goes is noticed when it is written
    commandline::CommandLine app("Talks to a host micro-controller over its link.");
    app.footer(exitCodes);
    app.needsCommand(true);
    command::CommonOptions options;
    command::Run chosen;
    declareCommon(app, options);
    declareWire(app, options.wire);
    for (const auto declare :
         {command::declareGet,     command::declareSet,    command::declareWatch,      command::declareEvents,
          command::declarePress,   command::declareLed,    command::declareSend,       command::declareReceive,
          command::declareTunnel,  command::declarePing,   command::declareStates,     command::declareProfiles,
          command::declareExplain, command::declareDecode, command::declareDoctor,     command::declareRecord,
          command::declareReplay,  command::declareExtcap, command::declareCompletion, command::declareManual}) {
        declare(app, chosen);
    }
    if (const auto code = app.read(argc, argv)) return *code;
    try {
        return static_cast<int>(runChosen(chosen, options));
    } catch (const std::exception& error) {
        std::cerr << "hostlink: " << error.what() << '\n';
        return static_cast<int>(ExitCode::NoLink);
    }
}
