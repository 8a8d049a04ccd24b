#include "Profiles.h"

#include <cstdlib>
#include <fstream>

#include <CLI/CLI.hpp>

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
        for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_config(input)) {
            if (item.name == "--") continue; // the end of a table
            if (item.parents.size() != 1) {
                throw UsageError(file + ": '" + item.fullname() + "' stands in no profile: begin one with [name]");
            }
            auto& profile = words[item.parents.front()];
            if (item.name == "++") continue;             // its beginning
            for (const std::string& value : item.inputs) // in one word, as flags take it
                profile.push_back("--" + item.name + "=" + value);
        }
    } catch (const CLI::Error& error) {
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
