// completion: what a shell asks when Tab is pressed.
#include <iostream>
#include <string>

#include "Declare.h"
#include "OptionTable.h"

namespace command {

namespace {

struct CompletionOptions {
    const CLI::App* app = nullptr;
    std::string shell;
};

// Where the names of states belong.
constexpr const char* withStates[] = {"get", "set", "watch"};

std::string longOptions(const std::vector<OptionRow>& options) {
    std::string words;
    for (const OptionRow& option : options) {
        if (!option.positional) words += " " + option.name;
    }
    return words;
}

bool takesStates(const std::string& command) {
    for (const char* each : withStates) {
        if (command == each) return true;
    }
    return false;
}

std::string forBash(const CLI::App& app) {
    std::string commands;
    std::string cases;
    for (const CommandRow& command : commandsOf(app)) {
        commands += (commands.empty() ? "" : " ") + command.name;
        cases += "        " + command.name + ") words+=\"" + longOptions(command.options) + "\"";
        if (takesStates(command.name)) cases += "; words+=\" $(hostlink states | cut -f 2 | grep -v ' ')\"";
        if (command.name == "send" || command.name == "decode") cases += "; files=-f";
        if (command.name == "receive") cases += "; files=-d";
        if (command.name == "completion") cases += "; words+=\" bash zsh fish\"";
        cases += " ;;\n";
    }
    std::string pattern = commands;
    for (char& character : pattern) character = character == ' ' ? '|' : character;
    return "_hostlink() {\n"
           "    local word command= words= files= current=${COMP_WORDS[COMP_CWORD]} "
           "before=${COMP_WORDS[COMP_CWORD-1]}\n"
           "    case $before in\n"
           "        --uart|--i2c|--spi|--config) COMPREPLY=($(compgen -f -- \"$current\")); return ;;\n"
           "        --profile) COMPREPLY=($(compgen -W \"$(hostlink profiles 2>/dev/null | cut -f 1)\" -- "
           "\"$current\")); "
           "return ;;\n"
           "    esac\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        case $word in " +
           pattern +
           ") command=$word; break ;; esac\n"
           "    done\n"
           "    words=\"" +
           longOptions(optionsOf(app)) +
           " --help\"\n"
           "    case $command in\n"
           "        '') words+=\" " +
           commands + "\" ;;\n" + cases +
           "    esac\n"
           "    COMPREPLY=($(compgen $files -W \"$words\" -- \"$current\"))\n"
           "}\n"
           "complete -o default -F _hostlink hostlink\n";
}

std::string forZsh(const CLI::App& app) {
    return "#compdef hostlink\nautoload -U +X bashcompinit && bashcompinit\n" + forBash(app);
}

std::string quotedForFish(const std::string& text) {
    std::string quoted = "'";
    for (const char character : text) {
        if (character == '\'' || character == '\\') quoted += '\\';
        quoted += character;
    }
    return quoted + "'";
}

std::string fishOptions(const std::vector<OptionRow>& options, const std::string& condition) {
    std::string lines;
    for (const OptionRow& option : options) {
        if (option.positional) continue;
        lines += "complete -c hostlink" + condition + " -l " + option.name.substr(2) + (option.isFlag ? "" : " -r") +
                 " -d " + quotedForFish(option.text) + "\n";
    }
    return lines;
}

std::string forFish(const CLI::App& app) {
    std::string lines = fishOptions(optionsOf(app), "");
    for (const CommandRow& command : commandsOf(app)) {
        lines += "complete -c hostlink -f -n __fish_use_subcommand -a " + command.name + " -d " +
                 quotedForFish(command.text) + "\n";
        const std::string condition = " -n '__fish_seen_subcommand_from " + command.name + "'";
        lines += fishOptions(command.options, condition);
        if (takesStates(command.name)) {
            lines += "complete -c hostlink -f" + condition +
                     " -a '(hostlink states | cut -f 2 | string match -v \"* *\")'\n";
        }
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

void declareCompletion(CLI::App& app, Run& chosen) {
    auto options = std::make_shared<CompletionOptions>();
    options->app = &app;
    auto* command = declareCommand(app, chosen, "completion",
                                   "Print what a shell needs to complete commands and states", options, complete);
    command->add_option("SHELL", options->shell, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}))
        ->option_text(" ");
}

} // namespace command
