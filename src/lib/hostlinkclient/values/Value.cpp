#include "hostlinkclient/Value.h"

#include <charconv>
#include <limits>

#include "hostlinkclient/values/Names.h"

namespace hostlink {

namespace {

Failure refused(const std::string& text) {
    return {Outcome::BadArgument, text};
}

// The alternative in which a number of this type stands, and the encoding that goes with it.
template <typename Visit> bool withNumberType(Encoding encoding, Visit visit) {
    switch (encoding) {
    case ENC_Uint8: visit(uint8_t{}); return true;
    case ENC_Uint16: visit(uint16_t{}); return true;
    case ENC_Uint32: visit(uint32_t{}); return true;
    case ENC_Uint64: visit(uint64_t{}); return true;
    case ENC_Int8: visit(int8_t{}); return true;
    case ENC_Int16: visit(int16_t{}); return true;
    case ENC_Int32: visit(int32_t{}); return true;
    case ENC_Int64: visit(int64_t{}); return true;
    default: return false;
    }
}

// A number of 64 bits and its sign, taken apart so that both halves of the range have room.
template <typename Type> bool fits(uint64_t bits, bool negative) {
    if (negative)
        return std::is_signed_v<Type> &&
               static_cast<int64_t>(bits) >= static_cast<int64_t>(std::numeric_limits<Type>::min());
    return bits <= static_cast<uint64_t>(std::numeric_limits<Type>::max());
}

std::string digits(uint64_t bits, bool negative) {
    return negative ? std::to_string(static_cast<int64_t>(bits)) : std::to_string(bits);
}

} // namespace

const char* nameOf(Encoding encoding) {
    switch (encoding) {
    case ENC_Nil: return "Nil";
    case ENC_Bin16: return "Bin16";
    case ENC_Uint8: return "Uint8";
    case ENC_Uint16: return "Uint16";
    case ENC_Uint32: return "Uint32";
    case ENC_Uint64: return "Uint64";
    case ENC_Int8: return "Int8";
    case ENC_Int16: return "Int16";
    case ENC_Int32: return "Int32";
    case ENC_Int64: return "Int64";
    }
    return "no encoding";
}

Value::Value(const char* text) : Value(std::string(text)) {}

Value::Value(const std::string& text) : content(ByteArray(text.begin(), text.end())) {}

Value::Content Value::smallest(Whole number) {
    Content content;
    for (const Encoding encoding :
         {ENC_Uint8, ENC_Uint16, ENC_Uint32, ENC_Uint64, ENC_Int8, ENC_Int16, ENC_Int32, ENC_Int64}) {
        bool found = false;
        withNumberType(encoding, [&](auto type) {
            found = fits<decltype(type)>(number.bits, number.negative);
            if (found) content = static_cast<decltype(type)>(number.bits);
        });
        if (found) break;
    }
    return content;
}

Result<Value> Value::inEncoding(Encoding encoding, Whole number) {
    std::optional<Content> content;
    const bool known = withNumberType(encoding, [&](auto type) {
        using Number = decltype(type);
        if (fits<Number>(number.bits, number.negative))
            content.emplace(std::in_place_type<Number>, static_cast<Number>(number.bits));
    });
    if (!known) return refused(std::string(nameOf(encoding)) + " is not the encoding of a number");
    if (!content) return refused(digits(number.bits, number.negative) + " does not fit " + nameOf(encoding));
    return Value(*content);
}

Result<Value> Value::number(const std::string& digits) {
    const bool negative = digits.rfind('-', 0) == 0;
    const size_t sign = negative ? 1 : 0;
    const bool hexadecimal = digits.compare(sign, 2, "0x") == 0 || digits.compare(sign, 2, "0X") == 0;
    const char* begin = digits.data() + sign + (hexadecimal ? 2 : 0);
    const char* end = digits.data() + digits.size();
    uint64_t magnitude = 0;
    const auto read = std::from_chars(begin, end, magnitude, hexadecimal ? 16 : 10);
    if (read.ec == std::errc::invalid_argument || read.ptr != end) return refused("'" + digits + "' is not a number");
    constexpr uint64_t lowest = uint64_t{1} << 63;
    if (read.ec != std::errc() || (negative && magnitude > lowest))
        return refused(digits + " does not fit any encoding: -9223372036854775808 to 18446744073709551615");
    return Value(smallest({negative ? 0 - magnitude : magnitude, negative && magnitude != 0}));
}

Result<Value> Value::named(const StateId& state, const std::string& name) {
    if (!state.isValid()) return refused(state.problem());
    if (const auto number = valueNamed(state.number(), name)) return Value(*number);
    return refused(state.name() + " has no value named '" + name + "'; docs/vocabulary.md lists the names");
}

Encoding Value::encoding() const {
    // In the order of the alternatives.
    static constexpr Encoding encodings[] = {ENC_Nil,    ENC_Bin16, ENC_Uint8, ENC_Uint16, ENC_Uint32,
                                             ENC_Uint64, ENC_Int8,  ENC_Int16, ENC_Int32,  ENC_Int64};
    return encodings[content.index()];
}

const char* Value::typeText(bool isSigned, size_t bytes) {
    switch (bytes) {
    case 1: return isSigned ? "8 signed bits" : "8 bits";
    case 2: return isSigned ? "16 signed bits" : "16 bits";
    case 4: return isSigned ? "32 signed bits" : "32 bits";
    default: return isSigned ? "64 signed bits" : "64 bits";
    }
}

std::optional<Value::Whole> Value::whole() const {
    std::optional<Whole> number;
    std::visit(
        [&number](const auto& held) {
            if constexpr (std::is_integral_v<std::decay_t<decltype(held)>>) number = widest(held);
        },
        content);
    return number;
}

Result<uint64_t> Value::toUnsigned(uint64_t most, const char* type) const {
    const auto number = whole();
    if (!number) return refused("it is " + std::string(nameOf(encoding())) + ", not a number");
    if (number->negative || number->bits > most)
        return refused(digits(number->bits, number->negative) + " does not fit " + type + ": 0 to " +
                       std::to_string(most));
    return number->bits;
}

Result<int64_t> Value::toSigned(int64_t least, int64_t most, const char* type) const {
    const auto number = whole();
    if (!number) return refused("it is " + std::string(nameOf(encoding())) + ", not a number");
    const bool inside =
        number->negative ? static_cast<int64_t>(number->bits) >= least : number->bits <= static_cast<uint64_t>(most);
    if (!inside)
        return refused(digits(number->bits, number->negative) + " does not fit " + type + ": " + std::to_string(least) +
                       " to " + std::to_string(most));
    return static_cast<int64_t>(number->bits);
}

Result<std::string> Value::text() const {
    const auto* bytes = std::get_if<ByteArray>(&content);
    if (bytes == nullptr) return refused("it is " + std::string(nameOf(encoding())) + ", not text");
    return std::string(bytes->begin(), bytes->end());
}

Result<ByteArray> Value::bytes() const {
    const auto* bytes = std::get_if<ByteArray>(&content);
    if (bytes == nullptr) return refused("it is " + std::string(nameOf(encoding())) + ", not binary data");
    return *bytes;
}

Result<Value> Value::as(Encoding wanted) const {
    if (wanted == encoding()) return *this;
    const auto number = whole();
    if (!number)
        return refused(std::string(nameOf(encoding())) + " cannot be turned into " + std::string(nameOf(wanted)));
    return inEncoding(wanted, *number);
}

std::string Value::print() const {
    if (isNil()) return "no value";
    if (const auto number = whole()) return digits(number->bits, number->negative);
    return text().value();
}

std::string Value::print(const StateId& state) const {
    const auto number = to<int64_t>();
    const std::string* name = number && state.isValid() ? nameOfValue(state.number(), *number) : nullptr;
    return name != nullptr ? *name : print();
}

bool Value::meansSameAs(const Value& other) const {
    const auto number = whole();
    const auto others = other.whole();
    if (!number || !others) return *this == other;
    return number->bits == others->bits && number->negative == others->negative;
}

} // namespace hostlink
