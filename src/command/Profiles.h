/// @file
/// Wires by name, kept in a file.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "WireOptions.h"

namespace command {

/// Profiles of a TOML file: a table for each, whose keys are the names of the wire's options.
///
///     [bench]
///     uart = "/dev/ttyUSB0"
///     baud = 460800
class Profiles {
public:
    /// @param path empty: `hostlink/profiles.toml` in the configuration folder ($XDG_CONFIG_HOME, else ~/.config),
    ///             where none is no mistake
    /// @throw UsageError the file cannot be read, or is no TOML
    explicit Profiles(const std::string& path);

    const std::string& path() const { return file; }
    std::vector<std::string> names() const;
    /// @throw UsageError there is none of that name, or it names no wire; the text says where
    WireOptions profile(const std::string& name) const;

private:
    std::string file;
    std::map<std::string, std::vector<std::string>> words; ///< of each profile, as on a command line
};

} // namespace command
