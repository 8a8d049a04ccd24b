#include "OptionTable.h"

#include <CLI/CLI.hpp>

namespace command {

namespace {

// The parser puts what it checks behind the name: "MS:POSITIVE".
std::string argumentOf(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    return name.substr(0, name.find(':'));
}

} // namespace

std::vector<OptionRow> optionsOf(const CLI::App& app) {
    std::vector<OptionRow> rows;
    for (const CLI::Option* option : app.get_options()) {
        if (option == app.get_help_ptr()) continue;
        const bool positional = option->get_lnames().empty();
        const bool isFlag = option->get_items_expected_max() == 0;
        rows.push_back({positional ? option->get_single_name() : "--" + option->get_lnames().front(), positional,
                        isFlag, isFlag || positional ? "" : argumentOf(*option), option->get_description(),
                        option->get_default_str()});
    }
    return rows;
}

std::vector<CommandRow> commandsOf(const CLI::App& app) {
    std::vector<CommandRow> rows;
    for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (each->get_name().empty() || each->get_group().empty()) continue; // hidden ones have no group
        rows.push_back({each->get_name(), each->get_description(), optionsOf(*each)});
    }
    return rows;
}

} // namespace command
