#include "Profiles.h"

#include <cstdlib>
#include <fstream>

#include <commandline/CommandLine.h>
#include <commandline/Tables.h>

#include "UsageError.h"

namespace command {

namespace {

std::string usualPath() {
    const char* configuration = std::getenv("XDG_CONFIG_HOME");
    if (configuration != nullptr && *configuration != '\0')
        return std::string(configuration) + "/hostlink/profiles.toml";
    const char* home = std::getenv("HOME");
    return std::string(home == nullptr ? "" : home) + "/.config/hostlink/profiles.toml";
}

} // namespace

Profiles::Profiles(const std::string& path) : file(path.empty() ? usualPath() : path) {
    std::ifstream input(file);
    if (!input) {
        if (path.empty()) return;
        throw UsageError("cannot read " + file);
    }
    try {
        for (const commandline::TableLine& line : commandline::readTables(input)) {
            if (line.tables.size() != 1) {
                throw UsageError(file + ": '" + line.fullName() + "' stands in no profile: begin one with [name]");
            }
            auto& profile = words[line.tables.front()];  // also where it only begins
            for (const std::string& value : line.values) // in one word, as flags take it
                profile.push_back("--" + line.name + "=" + value);
        }
    } catch (const commandline::Wrong& error) {
        throw UsageError(file + ": " + error.what());
    }
}

std::vector<std::string> Profiles::names() const {
    std::vector<std::string> all;
    for (const auto& [name, profile] : words) all.push_back(name);
    return all;
}

WireOptions Profiles::profile(const std::string& name) const {
    const auto found = words.find(name);
    if (found == words.end()) throw UsageError("there is no profile '" + name + "' in " + file);
    try {
        return wireFrom(found->second);
    } catch (const UsageError& error) {
        throw UsageError(file + ", profile " + name + ": " + error.what());
    }
}

} // namespace command
