#include "Tables.h"

#include <CLI/CLI.hpp>

#include "CommandLine.h"

namespace commandline {

std::string TableLine::fullName() const {
    std::string full;
    for (const std::string& table : tables) full += (full.empty() ? "" : ".") + table;
    return name.empty() || full.empty() ? full + name : full + "." + name;
}

std::vector<TableLine> readTables(std::istream& input) {
    static const std::string beginning = "++"; // so the parser calls it
    static const std::string end = "--";
    std::vector<TableLine> lines;
    try {
        for (CLI::ConfigItem& item : CLI::ConfigTOML().from_config(input)) {
            if (item.name == end) continue;
            lines.push_back({item.parents, item.name == beginning ? "" : item.name, item.inputs});
        }
    } catch (const CLI::Error& error) {
        throw Wrong(error.what());
    }
    return lines;
}

} // namespace commandline
