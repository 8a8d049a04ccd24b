#include "StateText.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>
#include <vector>

#include <hostlink/HostLinkVocabulary.h>

#include "UsageError.h"

namespace command {

using hostlink::StateId;
using hostlink::Value;

namespace {

constexpr std::size_t mostLikeIt = 5;

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string statesLike(const std::string& text) {
    std::vector<std::string> like;
    for (const auto& [number, name] : stateToString) {
        if (lower(name).find(lower(text)) != std::string::npos) like.push_back(name);
    }
    if (like.empty() || text.empty()) return "; hostlink states lists them";
    std::string list = "; there is ";
    for (std::size_t i = 0; i < like.size() && i < mostLikeIt; ++i) list += (i == 0 ? "" : ", ") + like[i];
    return list + (like.size() > mostLikeIt ? ", …" : "");
}

std::optional<Encoding> encodingNamed(const std::string& name) {
    static constexpr std::pair<const char*, Encoding> names[] = {
        {"u8", ENC_Uint8}, {"u16", ENC_Uint16}, {"u32", ENC_Uint32}, {"u64", ENC_Uint64},
        {"i8", ENC_Int8},  {"i16", ENC_Int16},  {"i32", ENC_Int32},  {"i64", ENC_Int64},
    };
    for (const auto& [known, encoding] : names) {
        if (name == known) return encoding;
    }
    return std::nullopt;
}

bool isType(const std::string& text) {
    return text == "text" || text == "hex" || encodingNamed(text);
}

Value bytesFrom(const std::string& digits) {
    ByteArray bytes;
    if (digits.size() % 2 != 0) throw UsageError("'" + digits + "' has half a byte too much: two digits each");
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        unsigned byte = 0;
        const char* end = digits.data() + at + 2;
        if (std::from_chars(digits.data() + at, end, byte, 16).ptr != end) {
            throw UsageError("'" + digits.substr(at, 2) + "' is no byte in hexadecimal digits");
        }
        bytes.push_back(static_cast<ByteArray::value_type>(byte));
    }
    return Value(bytes);
}

std::string namesOfValues(const StateId& state) {
    const auto found = stateAndValueToString.find(state.number());
    if (found == stateAndValueToString.end()) return "";
    std::string list;
    for (const auto& [number, name] : found->second) list += (list.empty() ? "" : ", ") + name;
    return list;
}

Value orThrow(const hostlink::Result<Value>& value) {
    if (!value) throw UsageError(value.text());
    return *value;
}

} // namespace

StateId stateFrom(const std::string& text) {
    StateId state(text);
    if (!state.isValid()) throw UsageError(state.problem() + statesLike(text));
    return state;
}

Assignment Assignment::from(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) throw UsageError("'" + text + "' is not STATE=VALUE");
    Assignment assignment{stateFrom(text.substr(0, equals)), text.substr(equals + 1), ""};
    const std::size_t colon = assignment.value.rfind(':');
    if (colon != std::string::npos && isType(assignment.value.substr(colon + 1))) {
        assignment.type = assignment.value.substr(colon + 1);
        assignment.value.resize(colon);
    }
    return assignment;
}

std::optional<Value> numberFrom(const std::string& text) {
    const bool negative = !text.empty() && text.front() == '-';
    std::string digits = text.substr(negative ? 1 : 0);
    const bool hexadecimal = digits.size() > 2 && digits[0] == '0' && lower(digits)[1] == 'x';
    if (hexadecimal) digits.erase(0, 2);
    uint64_t magnitude = 0;
    const char* end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, magnitude, hexadecimal ? 16 : 10);
    if (digits.empty() || read.ec != std::errc() || read.ptr != end) return std::nullopt;
    if (!negative) return Value(magnitude);
    constexpr uint64_t lowest = uint64_t{1} << 63;
    if (magnitude > lowest) return std::nullopt;
    if (magnitude == lowest) return Value(std::numeric_limits<int64_t>::min());
    return Value(-static_cast<int64_t>(magnitude));
}

bool asksForEncoding(const Assignment& assignment) {
    return assignment.type.empty() && assignment.value != "nil";
}

Value valueFrom(const Assignment& assignment, const std::optional<Value>& held) {
    const std::string& text = assignment.value;
    if (assignment.type == "text") return Value(text);
    if (assignment.type == "hex") return bytesFrom(text);
    if (assignment.type.empty() && text == "nil") return Value();

    std::optional<Value> number = numberFrom(text);
    if (!number) {
        const auto named = Value::named(assignment.state, text);
        if (named) number = *named;
    }
    if (const auto encoding = encodingNamed(assignment.type)) {
        if (!number) throw UsageError("'" + text + "' is no number: " + assignment.type + " needs one");
        return orThrow(number->as(*encoding));
    }
    const bool holdsNumber = held && held->isNumber();
    if (!number) {
        const std::string names = namesOfValues(assignment.state);
        if (names.empty() && !holdsNumber) return Value(text);
        throw UsageError("'" + text + "' is no value of " + assignment.state.name() +
                         (names.empty() ? ", which holds a number" : "; it has " + names) +
                         ". To send it as a text all the same, add :text");
    }
    if (held && held->isBinary()) return Value(text);
    if (!holdsNumber) return *number;
    const auto asHeld = number->as(held->encoding());
    return asHeld ? *asHeld : *number;
}

} // namespace command
