// manual: the manual page, made from the options that there are. Not listed: it is for the installation.
#include <iostream>
#include <string>

#include "Declare.h"

namespace command {

namespace {

using commandline::CommandRow;
using commandline::OptionRow;

struct ManualOptions {
    const commandline::Command* app = nullptr;
};

// What the formatter would take for a command of its own, or for a hyphen.
std::string plain(const std::string& text) {
    std::string result;
    for (const char character : text) {
        if (character == '\\')
            result += "\\e";
        else if (character == '-')
            result += "\\-";
        else
            result += character;
    }
    return result.empty() || (result[0] != '.' && result[0] != '\'') ? result : "\\&" + result;
}

std::string printed(const std::vector<OptionRow>& options) {
    std::string text;
    for (const OptionRow& option : options) {
        text += ".TP\n.B " + plain(option.name) + "\n";
        if (!option.argument.empty()) text.insert(text.size() - 1, " \\fI" + plain(option.argument) + "\\fR");
        text += plain(option.text);
        if (!option.preset.empty()) text += " [" + plain(option.preset) + "]";
        text += "\n";
    }
    return text;
}

std::string synopsis(const CommandRow& command) {
    std::string line = "\\fB" + command.name + "\\fR";
    for (const OptionRow& option : command.options) {
        if (option.positional) line += " \\fI" + plain(option.name) + "\\fR";
    }
    return line;
}

ExitCode print(Program&, const ManualOptions& options) {
    const commandline::Command& app = *options.app;
    std::string page = ".TH HOSTLINK 1\n.SH NAME\nhostlink \\- talk to a host micro-controller over its link\n"
                       ".SH SYNOPSIS\n.B hostlink\n[\\fIoptions\\fR] \\fIcommand\\fR …\n.SH DESCRIPTION\n" +
                       plain(app.text()) + "\n.SH COMMANDS\n";
    for (const CommandRow& command : app.commands()) {
        page += ".SS " + synopsis(command) + "\n" + plain(command.text) + ".\n" + printed(command.options);
    }
    page += ".SH OPTIONS\nEvery command has them, before its name or behind it.\n" + printed(app.options());
    page += ".SH EXIT STATUS\n" + plain(app.footer()) + "\n";
    std::cout << page << std::flush;
    return ExitCode::Good;
}

} // namespace

void declareManual(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<ManualOptions>();
    options->app = &app;
    declareCommand(app, chosen, "manual", "Print the manual page", options, print).hidden();
}

} // namespace command
