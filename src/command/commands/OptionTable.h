/// @file
/// The options of the program and of its commands, as the parser has them: completions and the manual are made from it.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace command {

/// What can stand in the place of an argument, as far as a shell can tell.
enum class Completion {
    Nothing,
    Words,       ///< one of `OptionRow::words`
    States,      ///< names of states
    Assignments, ///< names of states, a value behind each
    Profiles,
    Files,
    Folders
};

struct OptionRow {
    std::string name; ///< "--baud", or of a positional one its name
    bool positional;
    bool isFlag;
    bool repeats;         ///< it takes any number of arguments
    std::string argument; ///< "N"; empty for a flag
    std::string text;
    std::string preset; ///< what it is when it is not given; empty when nothing is said
    Completion completion = Completion::Nothing;
    std::vector<std::string> words;
};

struct CommandRow {
    std::string name;
    std::string text;
    std::vector<OptionRow> options;
};

/// Options in the order in which they are declared, without --help.
std::vector<OptionRow> optionsOf(const CLI::App& app);
std::vector<CommandRow> commandsOf(const CLI::App& app);

} // namespace command
