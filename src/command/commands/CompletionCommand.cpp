// completion: what a shell asks when Tab is pressed.
#include <iostream>
#include <string>

#include "Completion.h"
#include "Declare.h"

namespace command {

namespace {

using commandline::CommandRow;
using commandline::OptionRow;

struct CompletionOptions {
    const commandline::Command* app = nullptr;
    std::string shell;
};

constexpr const char* listedStates = "$(hostlink states 2>/dev/null | cut -f 2)";
constexpr const char* listedProfiles = "$(hostlink profiles 2>/dev/null | cut -f 1)";

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

std::string longOptions(const std::vector<OptionRow>& options) {
    std::string words;
    for (const OptionRow& option : options) {
        if (!option.positional) words += " " + option.name;
    }
    return words;
}

// In each shell's quotation marks.
std::string quoted(const std::string& text, const std::string& special, const std::string& escape) {
    std::string result;
    for (const char character : text) {
        if (special.find(character) != std::string::npos) result += escape;
        result += character;
    }
    return result;
}

// What bash is to offer for an argument.
std::string forBash(const OptionRow& option) {
    switch (completionOf(option)) {
    case Completion::Words: return "words+=\" " + joined(option.words) + "\"";
    case Completion::States: return std::string("words+=\" ") + listedStates + "\"";
    case Completion::Assignments: return std::string("words+=\" ") + listedStates + "\" after='='";
    case Completion::Profiles: return std::string("words+=\" ") + listedProfiles + "\"";
    case Completion::Files: return "files=-f";
    case Completion::Folders: return "files=-d";
    case Completion::Nothing: break;
    }
    return ":";
}

// The argument behind an option takes nothing else.
std::string bashArguments(const std::vector<OptionRow>& options) {
    std::string cases;
    for (const OptionRow& option : options) {
        if (!option.positional && !option.isFlag)
            cases += "        " + option.name + ") " + forBash(option) + "; _hostlink_offer; return ;;\n";
    }
    return cases;
}

std::string forBash(const commandline::Command& app) {
    std::string commands;
    std::string arguments = bashArguments(app.options());
    std::string cases;
    for (const CommandRow& command : app.commands()) {
        commands += (commands.empty() ? "" : " ") + command.name;
        arguments += bashArguments(command.options);
        cases += "        " + command.name + ") case $current in -*) words+=\"" + longOptions(command.options) +
                 "\" ;; *) :";
        for (const OptionRow& option : command.options) {
            if (option.positional) cases += "; " + forBash(option);
        }
        cases += " ;; esac ;;\n";
    }
    std::string pattern = commands;
    for (char& character : pattern) character = character == ' ' ? '|' : character;
    return "_hostlink() {\n"
           "    local word command= words= files= after= current=${COMP_WORDS[COMP_CWORD]}\n"
           "    local before=${COMP_WORDS[COMP_CWORD-1]}\n"
           "    _hostlink_offer() {\n"
           "        COMPREPLY=($(compgen $files -W \"$words\" -S \"$after\" -- \"$current\"))\n"
           "        [ -z \"$after\" ] || compopt -o nospace 2>/dev/null\n"
           "    }\n"
           "    case $before in\n" +
           arguments +
           "    esac\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        case $word in " +
           pattern +
           ") command=$word; break ;; esac\n"
           "    done\n"
           "    case $current in\n"
           "        -*) words=\"" +
           longOptions(app.options()) +
           " --help\" ;;\n"
           "    esac\n"
           "    case $command in\n"
           "        '') words+=\" " +
           commands + "\" ;;\n" + cases +
           "    esac\n"
           "    _hostlink_offer\n"
           "}\n"
           "complete -F _hostlink hostlink\n";
}

std::string zshQuoted(const std::string& text) {
    return quoted(quoted(text, "[]:", "\\"), "'", "'\\'");
}

// ":what:action" of an argument.
std::string zshAction(const OptionRow& option) {
    std::string what = ":" + zshQuoted(option.positional ? option.name : option.argument) + ":";
    switch (completionOf(option)) {
    case Completion::Words: return what + "(" + joined(option.words) + ")";
    case Completion::States: return what + "_hostlink_states";
    case Completion::Assignments: return what + "_hostlink_assignments";
    case Completion::Profiles: return what + "_hostlink_profiles";
    case Completion::Files: return what + "_files";
    case Completion::Folders: return what + "_files -/";
    case Completion::Nothing: break;
    }
    return what;
}

std::string zshOptions(const std::vector<OptionRow>& options, const std::string& indentation) {
    std::string lines;
    std::string position = "1";
    for (const OptionRow& option : options) {
        lines += " \\\n" + indentation + "'";
        if (!option.positional)
            lines += option.name + (option.isFlag ? "" : "=") + "[" + zshQuoted(option.text) + "]" +
                     (option.isFlag ? "" : zshAction(option));
        else if (option.repeats)
            lines += "*" + zshAction(option);
        else
            lines += position + zshAction(option);
        if (option.positional) position = std::to_string(std::stoi(position) + 1);
        lines += "'";
    }
    return lines;
}

std::string forZsh(const commandline::Command& app) {
    std::string commands;
    std::string cases;
    const std::vector<OptionRow> common = app.options();
    for (const CommandRow& command : app.commands()) {
        commands += "        '" + command.name + ":" + zshQuoted(command.text) + "'\n";
        cases += "        " + command.name + ") _arguments -s" + zshOptions(common, "            ") +
                 zshOptions(command.options, "            ") + " ;;\n";
    }
    return "#compdef hostlink\n"
           "_hostlink_states() { compadd -- ${(f)\"$(hostlink states 2>/dev/null | cut -f 2)\"} }\n"
           "_hostlink_assignments() { compadd -S = -- ${(f)\"$(hostlink states 2>/dev/null | cut -f 2)\"} }\n"
           "_hostlink_profiles() { compadd -- ${(f)\"$(hostlink profiles 2>/dev/null | cut -f 1)\"} }\n"
           "_hostlink() {\n"
           "    local context state state_descr line\n"
           "    typeset -A opt_args\n"
           "    local -a commands=(\n" +
           commands +
           "    )\n"
           "    _arguments -s -C '--help[Print help]'" +
           zshOptions(common, "        ") +
           " \\\n        '1:command:->command' '*::argument:->argument' && return\n"
           "    case $state in\n"
           "        command) _describe command commands; return ;;\n"
           "    esac\n"
           "    case $words[1] in\n" +
           cases +
           "    esac\n"
           "}\n"
           "if [ \"$funcstack[1]\" = _hostlink ]; then _hostlink \"$@\"; else compdef _hostlink hostlink; fi\n";
}

std::string quotedForFish(const std::string& text) {
    return "'" + quoted(text, "'\\", "\\") + "'";
}

// What fish is to offer for an argument: the words behind "-a", and whether files too.
std::string forFish(const OptionRow& option) {
    switch (completionOf(option)) {
    case Completion::Words: return " -f -a " + quotedForFish(joined(option.words));
    case Completion::States: return " -f -a '(hostlink states 2>/dev/null | cut -f 2)'";
    case Completion::Assignments: return " -f -a '(hostlink states 2>/dev/null | cut -f 2)='";
    case Completion::Profiles: return " -f -a '(hostlink profiles 2>/dev/null | cut -f 1)'";
    case Completion::Files: return " -F";
    case Completion::Folders: return " -f -a '(__fish_complete_directories)'";
    case Completion::Nothing: break;
    }
    return " -f";
}

std::string fishOptions(const std::vector<OptionRow>& options, const std::string& condition) {
    std::string lines;
    for (const OptionRow& option : options) {
        lines += "complete -c hostlink" + condition;
        if (option.positional)
            lines += forFish(option) + "\n";
        else
            lines += " -l " + option.name.substr(2) + (option.isFlag ? "" : " -r" + forFish(option)) + " -d " +
                     quotedForFish(option.text) + "\n";
    }
    return lines;
}

std::string forFish(const commandline::Command& app) {
    std::string lines = "complete -c hostlink -f\n" + fishOptions(app.options(), "");
    for (const CommandRow& command : app.commands()) {
        lines += "complete -c hostlink -f -n __fish_use_subcommand -a " + command.name + " -d " +
                 quotedForFish(command.text) + "\n";
        lines += fishOptions(command.options, " -n '__fish_seen_subcommand_from " + command.name + "'");
    }
    return lines;
}

ExitCode complete(Program&, const CompletionOptions& options) {
    if (options.shell == "bash") std::cout << forBash(*options.app);
    if (options.shell == "zsh") std::cout << forZsh(*options.app);
    if (options.shell == "fish") std::cout << forFish(*options.app);
    std::cout << std::flush;
    return ExitCode::Good;
}

} // namespace

void declareCompletion(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<CompletionOptions>();
    options->app = &app;
    const auto command = declareCommand(app, chosen, "completion",
                                        "Print what a shell needs to complete commands and states", options, complete);
    command.option("SHELL", options->shell, "bash, zsh or fish").required().oneOf({"bash", "zsh", "fish"}).plain();
}

} // namespace command
