#include "UserCommands.h"

#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include <hostsim/HostCounts.h>
#include <hostsim/StateText.h>

#include "FileContent.h"
#include "JsonEvents.h"

using hostsim::SimulatedHost;

namespace {

constexpr unsigned long maxButton = 65535;
constexpr unsigned long maxBurst = 10000;

const std::vector<std::pair<const char*, const char*>> commands = {
    {"press N", "press and release button N"},
    {"set ID VALUE", "change a state, for example: set PlayerVolume 40"},
    {"get ID", "show a state"},
    {"burst N", "send N events at once"},
    {"send-file PATH", "send a file to the module, behind those that wait"},
    {"abort-file", "end the file under way, and forget those that wait"},
    {"counts", "show what has been seen and done so far"},
    {"quit", "end"},
};

std::string helpText() {
    std::string text;
    for (const auto& [command, meaning] : commands) {
        const std::string name = command;
        text += name + std::string(16 - name.size(), ' ') + meaning + "\n";
    }
    return text;
}

std::optional<unsigned long> numberUpTo(unsigned long limit, const std::string& text) {
    if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    const unsigned long number = std::stoul(text);
    if (number > limit) return std::nullopt;
    return number;
}

// A command that cannot be carried out; the text says why.
class Refused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

uint16_t stateId(const std::string& state) {
    const hostlink::StateId id(state);
    if (!id.isValid()) throw Refused("'" + state + "' is neither a number nor the name of a state");
    return id.number();
}

void press(const std::string& button, SimulatedHost& host) {
    const auto number = numberUpTo(maxButton, button);
    if (!number) throw Refused("press needs the number of a button, 0 to 65535");
    host.send(hostsim::HostApplication::press(static_cast<uint16_t>(*number)));
}

void burst(const std::string& count, SimulatedHost& host) {
    const auto number = numberUpTo(maxBurst, count);
    if (!number) throw Refused("burst needs a number of events, 0 to 10000");
    host.send(hostsim::HostApplication::burst(static_cast<unsigned>(*number)));
}

void set(const std::string& state, const std::string& text, SimulatedHost& host) {
    const uint16_t id = stateId(state);
    const auto value = hostsim::parseValue(id, text, host.application().states().get(id));
    if (!value) throw Refused("'" + text + "' cannot be held: " + value.text());
    host.send(host.application().setState(id, *value));
}

std::string get(const std::string& state, SimulatedHost& host, bool json) {
    const uint16_t id = stateId(state);
    const hostlink::Value value = host.application().states().get(id);
    return json ? stateEvent(id, value) : value.print() + "\n";
}

void sendFile(const std::string& path, hostsim::FileSending& files) {
    const auto content = contentOf(path);
    if (!content) throw Refused("cannot read the file '" + path + "'");
    files.send(lastPartOf(path), *content);
}

std::string restOf(std::istringstream& words) {
    std::string rest;
    std::getline(words >> std::ws, rest);
    return rest;
}

CommandResult carryOut(const std::string& line, const CommandedHost& to, bool json) {
    SimulatedHost& host = to.host;
    std::istringstream words(line);
    std::string command;
    std::string argument;
    words >> command >> argument;
    if (command.empty()) return {};
    if (command == "quit") return {{}, true};
    if (command == "get") return {get(argument, host, json)};
    if (command == "counts") return {json ? countsEvent(host.counts()) : countsAsText(host.counts())};
    if (command == "help") return {json ? helpEvent(commands) : helpText()};
    if (command == "press") {
        press(argument, host);
    } else if (command == "burst") {
        burst(argument, host);
    } else if (command == "set") {
        set(argument, restOf(words), host);
    } else if (command == "send-file") {
        const std::string rest = restOf(words);
        sendFile(argument + (rest.empty() ? "" : " " + rest), to.files);
    } else if (command == "abort-file") {
        to.files.abort();
    } else {
        throw Refused("unknown command '" + command + "'; 'help' lists them");
    }
    return {};
}

} // namespace

CommandResult runCommand(const std::string& line, const CommandedHost& to, bool json) {
    try {
        return carryOut(line, to, json);
    } catch (const Refused& reason) {
        return {json ? errorEvent(reason.what()) : reason.what() + std::string("\n")};
    }
}
