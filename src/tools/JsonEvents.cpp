#include "JsonEvents.h"

#include <hostlink/HostLinkVocabulary.h>
#include <json/Json.h>

using json::quoted;

namespace {

template <typename Names, typename Key> std::string nameIn(const Names& names, Key key) {
    const auto found = names.find(key);
    return found == names.end() ? "null" : quoted(found->second);
}

std::string jsonOf(const hostlink::Value& value) {
    if (value.isNil()) return "null";
    const std::string text = value.print();
    return value.isNumber() ? text : quoted(text);
}

} // namespace

std::string readyEvent(const std::string& device, const std::string& link) {
    return "{\"event\":\"ready\",\"device\":" + quoted(device) + ",\"link\":" + quoted(link) + "}\n";
}

std::string countsEvent(const hostsim::HostCounts& counts) {
    return "{\"event\":\"counts\"," + countsAsJson(counts).substr(1) + "\n";
}

std::string stateEvent(uint16_t id, const hostlink::Value& value) {
    return "{\"event\":\"state\",\"id\":" + std::to_string(id) + ",\"name\":" + nameIn(stateToString, id) +
           ",\"encoding\":" + nameIn(encodingToString, value.encoding()) + ",\"value\":" + jsonOf(value) + "}\n";
}

std::string sentEvent(const hostsim::SentFile& file) {
    const auto& report = file.report;
    return "{\"event\":\"sent\",\"name\":" + quoted(file.name) + ",\"end\":" + quoted(hostsim::nameOf(report.end)) +
           ",\"bytes\":" + std::to_string(report.bytes) + ",\"checksum\":" + std::to_string(report.checksum) +
           ",\"repeated\":" + std::to_string(report.repeated) + "}\n";
}

std::string helpEvent(const std::vector<std::pair<const char*, const char*>>& commands) {
    std::string list;
    for (const auto& [command, text] : commands) {
        list += std::string(list.empty() ? "" : ",") + "{\"command\":" + quoted(command) + ",\"text\":" + quoted(text) +
                "}";
    }
    return "{\"event\":\"help\",\"commands\":[" + list + "]}\n";
}

std::string errorEvent(const std::string& text) {
    return "{\"event\":\"error\",\"text\":" + quoted(text) + "}\n";
}
