#include "Completion.h"

#include <string>
#include <utility>

namespace command {

Completion completionOf(const commandline::OptionRow& option) {
    static constexpr std::pair<const char*, Completion> known[] = {
        {"STATE", Completion::States},     {"STATE=VALUE", Completion::Assignments},
        {"FILE", Completion::Files},       {"DEVICE", Completion::Files},
        {"CHIP", Completion::Files},       {"FOLDER", Completion::Folders},
        {"PROFILE", Completion::Profiles},
    };
    if (!option.words.empty()) return Completion::Words;
    const std::string& argument = option.positional ? option.name : option.argument;
    for (const auto& [name, completion] : known) {
        if (argument == name) return completion;
    }
    return Completion::Nothing;
}

} // namespace command
