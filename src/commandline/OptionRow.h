/// @file
/// Options and commands as they were declared: completions and a manual are made from it.
#pragma once

#include <string>
#include <vector>

namespace commandline {

struct OptionRow {
    std::string name; ///< "--baud", or of a positional one its name
    bool positional = false;
    bool isFlag = false;
    bool repeats = false; ///< it takes any number of arguments
    std::string argument; ///< "N"; empty for a flag
    std::string text;
    std::string preset;             ///< what it is when it is not given; empty when nothing is said
    std::vector<std::string> words; ///< of an option that takes one of these
};

struct CommandRow {
    std::string name;
    std::string text;
    std::vector<OptionRow> options;
};

} // namespace commandline
