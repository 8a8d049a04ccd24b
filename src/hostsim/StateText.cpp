#include "StateText.h"

#include <optional>
#include <utility>

namespace hostsim {

using hostlink::Result;
using hostlink::StateId;
using hostlink::Value;

namespace {

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

} // namespace

Result<Value> parseValue(const StateId& state, const std::string& text, const Value& held) {
    static const Value nil; // the compiler takes one that is made on the spot for uninitialised
    if (text == "nil") return nil;
    const size_t colon = text.find(':');
    if (colon != std::string::npos) {
        const std::string prefix = text.substr(0, colon);
        const std::string rest = text.substr(colon + 1);
        if (prefix == "text") return Value(rest);
        if (const auto encoding = encodingNamed(prefix)) {
            const auto number = Value::number(rest);
            return number ? number->as(*encoding) : number;
        }
    }
    auto number = Value::number(text);
    if (!number) number = Value::named(state, text);
    if (!number) return Value(text);
    const auto asHeld = number->as(held.encoding());
    return asHeld ? asHeld : number;
}

} // namespace hostsim
