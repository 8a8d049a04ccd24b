/// @file
/// Files with settings in tables: `name = value` below `[table]`, the part of TOML that people write by hand.
#pragma once

#include <istream>
#include <string>
#include <vector>

namespace commandline {

/// A line of it, or the beginning of a table.
struct TableLine {
    /// From the outermost to the one that it stands in; of a beginning its own as well.
    std::vector<std::string> tables;
    std::string name;                ///< empty: the beginning of the table
    std::vector<std::string> values; ///< several of a list

    /// "table.name"
    std::string fullName() const;
};

/// @throw Wrong it cannot be read
std::vector<TableLine> readTables(std::istream& input);

} // namespace commandline
