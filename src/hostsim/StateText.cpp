#include "StateText.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include <hostlink/HostLinkVocabulary.h>

namespace hostsim {

namespace {

// A whole number from -2^63 to 2^64 - 1: a sign and 64 bits.
struct Number {
    uint64_t bits; // of a negative number: two's complement
    bool negative;
};

std::optional<Number> parseNumber(const std::string& text) {
    const bool negative = !text.empty() && text.front() == '-';
    const std::string digits = text.substr(negative ? 1 : 0);
    if (digits.empty() || digits.find_first_of("+- \t") != std::string::npos) return std::nullopt;
    const bool hexadecimal = digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
    errno = 0;
    char* end = nullptr;
    const unsigned long long magnitude = std::strtoull(digits.c_str(), &end, hexadecimal ? 16 : 10);
    if (errno != 0 || *end != '\0') return std::nullopt;
    constexpr uint64_t lowest = uint64_t{1} << 63;
    if (negative && magnitude > lowest) return std::nullopt;
    return Number{negative ? 0 - magnitude : magnitude, negative && magnitude != 0};
}

bool fits(const Number& number, Encoding encoding) {
    const int bits = 8 * numberWidth(encoding);
    if (bits == 0) return false;
    if (!isSigned(encoding)) return !number.negative && (bits == 64 || number.bits >> bits == 0);
    const uint64_t limit = uint64_t{1} << (bits - 1);
    return number.negative ? 0 - number.bits <= limit : number.bits < limit;
}

std::optional<Value> encoded(const Number& number, Encoding encoding) {
    if (!fits(number, encoding)) return std::nullopt;
    return numberValue(encoding, number.bits);
}

std::optional<Value> smallest(const Number& number) {
    for (const Encoding encoding :
         {ENC_Uint8, ENC_Uint16, ENC_Uint32, ENC_Uint64, ENC_Int8, ENC_Int16, ENC_Int32, ENC_Int64}) {
        if (fits(number, encoding)) return numberValue(encoding, number.bits);
    }
    return std::nullopt;
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

std::optional<Number> valueNamed(uint16_t id, const std::string& name) {
    const auto state = stateAndValueToString.find(id);
    if (state == stateAndValueToString.end()) return std::nullopt;
    for (const auto& [number, known] : state->second) {
        if (known == name) return Number{static_cast<uint64_t>(number), false};
    }
    return std::nullopt;
}

} // namespace

std::optional<uint16_t> parseStateId(const std::string& text) {
    if (const auto number = parseNumber(text)) {
        if (!fits(*number, ENC_Uint16)) return std::nullopt;
        return static_cast<uint16_t>(number->bits);
    }
    const auto named = std::find_if(stateToString.begin(), stateToString.end(),
                                    [&](const auto& entry) { return entry.second == text; });
    if (named == stateToString.end()) return std::nullopt;
    return named->first;
}

std::optional<Value> parseValue(uint16_t id, const std::string& text, const Value& held) {
    if (text == "nil") return Value{};
    const size_t colon = text.find(':');
    if (colon != std::string::npos) {
        const std::string prefix = text.substr(0, colon);
        const std::string rest = text.substr(colon + 1);
        if (prefix == "text") return textValue(rest);
        if (const auto encoding = encodingNamed(prefix)) {
            const auto number = parseNumber(rest);
            return number ? encoded(*number, *encoding) : std::nullopt;
        }
    }
    auto number = parseNumber(text);
    if (!number) number = valueNamed(id, text);
    if (!number) return textValue(text);
    const auto asHeld = encoded(*number, held.encoding);
    return asHeld ? asHeld : smallest(*number);
}

std::string valueText(const Value& value) {
    if (value.encoding == ENC_Nil) return "no value";
    const auto number = numberOf(value);
    if (!number) return std::string(value.bytes.begin(), value.bytes.end());
    return isSigned(value.encoding) ? std::to_string(*number) : std::to_string(static_cast<uint64_t>(*number));
}

} // namespace hostsim
