#include "rows.h"

#include <sstream>

#include <CLI/CLI.hpp>

namespace commandline {

namespace {

// The parser puts what it checks behind the name: "MS:POSITIVE".
std::string argumentOf(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    return name.substr(0, name.find(':'));
}

// "NAME:{none,even,odd}" of an option that takes one of these.
std::vector<std::string> wordsOf(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    const std::size_t begin = name.find('{');
    const std::size_t end = name.find('}');
    std::vector<std::string> words;
    if (begin == std::string::npos || end == std::string::npos) return words;
    std::istringstream list(name.substr(begin + 1, end - begin - 1));
    for (std::string word; std::getline(list, word, ',');) words.push_back(word);
    return words;
}

OptionRow rowOf(const CLI::Option& option) {
    OptionRow row;
    row.positional = option.get_lnames().empty();
    row.isFlag = option.get_items_expected_max() == 0;
    row.repeats = option.get_items_expected_max() > 1;
    row.name = row.positional ? option.get_single_name() : "--" + option.get_lnames().front();
    row.argument = row.isFlag || row.positional ? "" : argumentOf(option);
    row.text = option.get_description();
    row.preset = option.get_default_str();
    row.words = wordsOf(option);
    return row;
}

} // namespace

std::vector<OptionRow> optionsOf(const CLI::App& app) {
    std::vector<OptionRow> rows;
    for (const CLI::Option* option : app.get_options()) {
        if (option != app.get_help_ptr()) rows.push_back(rowOf(*option));
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

} // namespace commandline
