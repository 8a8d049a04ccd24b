/// @file
/// How a command is declared.
#pragma once

#include <memory>
#include <string>

#include <commandline/CommandLine.h>

#include "Commands.h"

namespace command {

/// A command of this name. Its options are filled in by the parser and handed to `run` when it is the one that was
/// given.
template <typename Options>
commandline::Command declareCommand(const commandline::Command& app, Run& chosen, const std::string& name,
                                    const std::string& text, std::shared_ptr<Options> options,
                                    ExitCode (*run)(Program&, const Options&)) {
    const commandline::Command command = app.command(name, text);
    command.whenGiven(
        [&chosen, options, run] { chosen = [options, run](Program& program) { return run(program, *options); }; });
    return command;
}

} // namespace command
