#include "JsonEvents.h"

#include <hostlink/HostLinkVocabulary.h>
#include <hostsim/StateText.h>
#include <json/Json.h>

using json::quoted;

namespace {

template <typename Names, typename Key> std::string nameIn(const Names& names, Key key) {
    const auto found = names.find(key);
    return found == names.end() ? "null" : quoted(found->second);
}

std::string jsonOf(const hostsim::Value& value) {
    if (value.encoding == ENC_Nil) return "null";
    const std::string text = hostsim::valueText(value);
    return hostsim::numberOf(value) ? text : quoted(text);
}

} // namespace

std::string readyEvent(const std::string& device, const std::string& link) {
    return "{\"event\":\"ready\",\"device\":" + quoted(device) + ",\"link\":" + quoted(link) + "}\n";
}

std::string countsEvent(const hostsim::HostCounts& counts) {
    return "{\"event\":\"counts\"," + countsAsJson(counts).substr(1) + "\n";
}

std::string stateEvent(uint16_t id, const hostsim::Value& value) {
    return "{\"event\":\"state\",\"id\":" + std::to_string(id) + ",\"name\":" + nameIn(stateToString, id) +
           ",\"encoding\":" + nameIn(encodingToString, value.encoding) + ",\"value\":" + jsonOf(value) + "}\n";
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
