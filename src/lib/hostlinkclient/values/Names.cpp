#include "hostlinkclient/values/Names.h"

#include <algorithm>
#include <cctype>
#include <map>

#include <hostlink/HostLinkVocabulary.h>

namespace hostlink {

namespace {

char lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

bool isSame(const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

std::string withoutPrefix(const std::string& name) {
    constexpr char prefix[] = "sta_";
    constexpr size_t length = sizeof prefix - 1;
    return isSame(name.substr(0, length), prefix) ? name.substr(length) : name;
}

const std::map<int32_t, std::string>* namesOfValues(uint16_t state) {
    const auto found = stateAndValueToString.find(state);
    return found == stateAndValueToString.end() ? nullptr : &found->second;
}

} // namespace

std::optional<uint16_t> stateNamed(const std::string& name) {
    const std::string wanted = withoutPrefix(name);
    for (const auto& [state, text] : stateToString)
        if (isSame(withoutPrefix(text), wanted)) return state;
    return std::nullopt;
}

std::optional<int32_t> valueNamed(uint16_t state, const std::string& name) {
    const auto* names = namesOfValues(state);
    if (names == nullptr) return std::nullopt;
    for (const auto& [value, text] : *names)
        if (isSame(text, name)) return value;
    return std::nullopt;
}

const std::string* nameOfValue(uint16_t state, int64_t value) {
    const auto* names = namesOfValues(state);
    if (names == nullptr || value != static_cast<int32_t>(value)) return nullptr;
    const auto found = names->find(static_cast<int32_t>(value));
    return found == names->end() ? nullptr : &found->second;
}

} // namespace hostlink
