// states and profiles: what can be named on the command line.
#include <algorithm>
#include <cctype>
#include <string>

#include <hostlink/HostLinkVocabulary.h>

#include "Declare.h"
#include "command/Profiles.h"
#include "command/UsageError.h"

namespace command {

namespace {

struct StatesOptions {
    std::string part;
};

struct NoOptions {};

bool contains(const std::string& text, const std::string& part) {
    const auto same = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

json::Object valuesObject(const std::map<int32_t, std::string>& names) {
    json::Object values;
    for (const auto& [value, name] : names) values.number(name, value);
    return values;
}

ExitCode states(Program& program, const StatesOptions& options) {
    bool any = false;
    for (const auto& [number, name] : stateToString) {
        if (!contains(name, options.part)) continue;
        any = true;
        json::Object object;
        object.text("state", name).number("number", number);
        std::string text = std::to_string(number) + "\t" + name;
        const auto values = stateAndValueToString.find(number);
        if (values != stateAndValueToString.end()) {
            const bool bits = stateBitFlag.count(number) != 0;
            object.truth("bits", bits).raw("values", valuesObject(values->second).print());
            text += bits ? "\tbits:" : "\t";
            const char* between = bits ? " " : "";
            for (const auto& [value, valueName] : values->second) {
                text.append(between).append(valueName).append(1, '=').append(std::to_string(value));
                between = " ";
            }
        }
        program.output().line(text, object);
    }
    if (!any) throw UsageError("no state's name has '" + options.part + "' in it");
    return ExitCode::Good;
}

ExitCode profiles(Program& program, const NoOptions&) {
    const Profiles all(program.options().profiles);
    ExitCode worst = ExitCode::Good;
    for (const std::string& name : all.names()) {
        try {
            const std::string wire = all.profile(name).print();
            std::string text = name;
            text.append("\t").append(wire);
            program.output().line(text, json::Object().text("profile", name).text("wire", wire));
        } catch (const UsageError& error) {
            worst = program.output().failed(ExitCode::BadUsage, "BadProfile", error.what());
        }
    }
    if (all.names().empty()) program.output().note("no profiles in " + all.path());
    return worst;
}

} // namespace

void declareStates(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<StatesOptions>();
    const auto command = declareCommand(
        app, chosen, "states", "List the states that have a name, and the names of their values", options, states);
    command.option("PART", options->part, "Only those whose name has this in it").plain();
}

void declareProfiles(const commandline::Command& app, Run& chosen) {
    declareCommand(app, chosen, "profiles", "List the profiles, and check them", std::make_shared<NoOptions>(),
                   profiles);
}

} // namespace command
