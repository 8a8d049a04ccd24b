#include "hostlinkclient/StateId.h"

#include <hostlink/HostLinkVocabulary.h>

#include "hostlinkclient/Value.h"
#include "hostlinkclient/values/Names.h"

namespace hostlink {

namespace {

constexpr int64_t largest = 0xFFFF;

// What begins with a sign is no number of a state, but no name either.
std::optional<int64_t> numberIn(const std::string& text) {
    const auto value = Value::number(text);
    if (!value || text.front() == '-') return std::nullopt;
    const auto number = value->to<int64_t>();
    return number ? std::optional<int64_t>(*number) : std::nullopt;
}

} // namespace

StateId::StateId(int64_t number) {
    if (number >= 0 && number <= largest)
        id = static_cast<uint16_t>(number);
    else
        complaint = "there is no state number " + std::to_string(number) + ": states have numbers from 0 to 65535";
}

StateId::StateId(const std::string& name) {
    if (const auto number = numberIn(name)) {
        *this = StateId(*number);
        return;
    }
    if (const auto named = stateNamed(name))
        id = *named;
    else
        complaint = "there is no state named '" + name + "'; docs/vocabulary.md lists the names";
}

StateId::StateId(const char* name) : StateId(std::string(name)) {}

std::string StateId::name() const {
    const auto found = stateToString.find(id);
    if (found != stateToString.end()) return found->second;
    std::string text = "0x";
    for (int shift = 12; shift >= 0; shift -= 4) text += "0123456789ABCDEF"[id >> shift & 0xF];
    return text;
}

} // namespace hostlink
