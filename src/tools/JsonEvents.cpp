#include "JsonEvents.h"

#include <cstdio>

#include <hostlink/HostLinkVocabulary.h>
#include <hostsim/StateText.h>

namespace {

// Bytes of the UTF-8 character that begins at `at`; 0 when none does.
size_t characterSize(const std::string& text, size_t at) {
    const auto byteAt = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byteAt(at);
    if (lead < 0x80) return 1;
    const size_t size = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (size == 0 || at + size > text.size()) return 0;
    for (size_t i = at + 1; i < at + size; ++i) {
        if ((byteAt(i) & 0xC0) != 0x80) return 0;
    }
    const unsigned char second = byteAt(at + 1); // tells characters in too many bytes, surrogates, and beyond U+10FFFF
    const bool tooLow = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool tooHigh = (lead == 0xED && second >= 0xA0) || (lead == 0xF4 && second >= 0x90);
    return tooLow || tooHigh ? 0 : size;
}

std::string escaped(unsigned char character) {
    char text[7];
    std::snprintf(text, sizeof text, "\\u%04x", character);
    return text;
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (size_t at = 0, size = 0; at < text.size(); at += size) {
        size = characterSize(text, at);
        const auto character = static_cast<unsigned char>(text[at]);
        if (size == 0) {
            result += "\\ufffd";
            size = 1;
        } else if (character == '"' || character == '\\') {
            result += {'\\', text[at]};
        } else {
            result += character < 0x20 ? escaped(character) : text.substr(at, size);
        }
    }
    return result + '"';
}

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
