#include "UserCommands.h"

#include <optional>
#include <sstream>

#include <hostsim/HostCounts.h>
#include <hostsim/StateText.h>

using hostsim::HostEndpoint;
using hostsim::Time;

namespace {

constexpr unsigned long maxButton = 65535;
constexpr unsigned long maxBurst = 10000;

constexpr char helpText[] = "press N        press and release button N\n"
                            "set ID VALUE   change a state, for example: set PlayerVolume 40\n"
                            "get ID         show a state\n"
                            "burst N        send N events at once\n"
                            "counts         show what has been seen and done so far\n"
                            "quit           end\n";

std::optional<unsigned long> numberUpTo(unsigned long limit, const std::string& text) {
    if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    const unsigned long number = std::stoul(text);
    if (number > limit) return std::nullopt;
    return number;
}

std::string press(const std::string& button, HostEndpoint& host, Time now) {
    const auto number = numberUpTo(maxButton, button);
    if (!number) return "press needs the number of a button, 0 to 65535\n";
    host.send(hostsim::HostApplication::press(static_cast<uint16_t>(*number)), now);
    return {};
}

std::string burst(const std::string& count, HostEndpoint& host, Time now) {
    const auto number = numberUpTo(maxBurst, count);
    if (!number) return "burst needs a number of events, 0 to 10000\n";
    host.send(hostsim::HostApplication::burst(static_cast<unsigned>(*number)), now);
    return {};
}

std::string set(const std::string& state, const std::string& text, HostEndpoint& host, Time now) {
    const auto id = hostsim::parseStateId(state);
    if (!id) return "'" + state + "' is neither a number nor the name of a state\n";
    const auto value = hostsim::parseValue(*id, text, host.application().states().get(*id));
    if (!value) return "'" + text + "' is not a number that fits its type\n";
    host.send(host.application().setState(*id, *value), now);
    return {};
}

std::string get(const std::string& state, HostEndpoint& host) {
    const auto id = hostsim::parseStateId(state);
    if (!id) return "'" + state + "' is neither a number nor the name of a state\n";
    const hostsim::Value value = host.application().states().get(*id);
    if (value.encoding == ENC_Nil) return "no value\n";
    if (const auto number = hostsim::numberOf(value)) return std::to_string(*number) + "\n";
    return std::string(value.bytes.begin(), value.bytes.end()) + "\n";
}

std::string restOf(std::istringstream& words) {
    std::string rest;
    std::getline(words >> std::ws, rest);
    return rest;
}

} // namespace

CommandResult runCommand(const std::string& line, HostEndpoint& host, Time now, bool json) {
    std::istringstream words(line);
    std::string command;
    std::string argument;
    words >> command >> argument;
    if (command.empty()) return {};
    if (command == "press") return {press(argument, host, now)};
    if (command == "burst") return {burst(argument, host, now)};
    if (command == "set") return {set(argument, restOf(words), host, now)};
    if (command == "get") return {get(argument, host)};
    if (command == "counts") return {json ? countsAsJson(host.counts()) + "\n" : countsAsText(host.counts())};
    if (command == "quit") return {{}, true};
    if (command == "help") return {helpText};
    return {"unknown command '" + command + "'; 'help' lists them\n"};
}
