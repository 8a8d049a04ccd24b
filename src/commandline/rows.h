/// @file
/// From the parser's tables to those that the rest of the program sees.
#pragma once

#include <vector>

#include "OptionRow.h"

namespace CLI {
class App;
} // namespace CLI

namespace commandline {

std::vector<OptionRow> optionsOf(const CLI::App& app);
std::vector<CommandRow> commandsOf(const CLI::App& app);

} // namespace commandline
