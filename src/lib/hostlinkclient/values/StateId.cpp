#include "hostlinkclient/StateId.h"

#include <charconv>

#include <hostlink/HostLinkVocabulary.h>

#include "hostlinkclient/values/Names.h"

namespace hostlink {

namespace {

constexpr int64_t largest = 0xFFFF;

// A whole text that is a number, decimal or with 0x.
std::optional<int64_t> numberIn(const std::string& text) {
    const bool hexadecimal = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
    const char* begin = text.data() + (hexadecimal ? 2 : 0);
    const char* end = text.data() + text.size();
    int64_t number = 0;
    const auto read = std::from_chars(begin, end, number, hexadecimal ? 16 : 10);
    if (read.ec != std::errc() || read.ptr != end || *begin == '-') return std::nullopt;
    return number;
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
