/// @file
/// Values as they travel, with their encodings.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkExport.h>
#include <hostlink/HostLinkNumbers.h>

#include "Result.h"
#include "StateId.h"

namespace hostlink {

/// One value in one of the encodings of the wire, the same for the client and for whoever plays its host. An ordinary
/// value; equal are values of the same encoding with the same content, which look alike on the wire. Whether two mean
/// the same, in whatever encoding, `meansSameAs` tells.
class HOSTLINK_EXPORT Value {
public:
    /// What a value is made of, one alternative for each encoding: Nil, Bin16, Uint8 to Uint64, Int8 to Int64.
    using Content = std::variant<std::monostate, ByteArray, uint8_t, uint16_t, uint32_t, uint64_t, int8_t, int16_t,
                                 int32_t, int64_t>;

    /// Nil.
    Value() = default;
    /// A whole number or an enumerator: in the smallest encoding that has room, unsigned unless it is negative. `true`
    /// is 1. `Value::in` makes one in an encoding of your choice.
    template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number> || std::is_enum_v<Number>>>
    Value(Number number) : content(smallest(widest(number))) {} // a number is a value
    Value(const char* text);                                    // Bin16; so are the next two
    Value(const std::string& text);
    Value(ByteArray bytes) : content(std::move(bytes)) {}
    explicit Value(Content as) : content(std::move(as)) {}
    /// A number of exactly this type.
    template <typename Number> Value(std::in_place_type_t<Number> type, Number number) : content(type, number) {}

    /// A number in this encoding.
    /// @return `BadArgument` when the number does not fit it, or it is not the encoding of a number
    template <typename Number> static Result<Value> in(Encoding encoding, Number number) {
        return inEncoding(encoding, widest(number));
    }
    /// A number as people write it, decimal or hexadecimal with 0x, -2^63 to 2^64-1: in the smallest encoding that has
    /// room, as above.
    /// @return `BadArgument` when the text is something else, or the number is outside that range; the text says which
    static Result<Value> number(const std::string& digits);
    /// The value that bears this name for this state: `named(STA_PlayerPlayStatus, "Playing")`.
    /// @return `BadArgument` when the state is none, or has no value of that name
    static Result<Value> named(const StateId& state, const std::string& name);

    Encoding encoding() const;
    const Content& alternatives() const { return content; }
    bool isNil() const { return std::holds_alternative<std::monostate>(content); }
    bool isNumber() const { return !isNil() && !isBinary(); }
    bool isBinary() const { return std::holds_alternative<ByteArray>(content); }

    /// The number.
    /// @return `BadArgument` when it is not a number, or does not fit the type; the text says which
    template <typename Number> Result<Number> to() const {
        static_assert(std::is_integral_v<Number>, "numbers are whole; use text() or bytes() for Bin16");
        if constexpr (std::is_same_v<Number, bool>) {
            const auto number = toUnsigned(1, "bool");
            return number ? Result<bool>(*number != 0) : Result<bool>(*number.failure());
        } else if constexpr (std::is_unsigned_v<Number>) {
            const auto number = toUnsigned(static_cast<Number>(-1), typeText(false, sizeof(Number)));
            return number ? Result<Number>(static_cast<Number>(*number)) : Result<Number>(*number.failure());
        } else {
            constexpr auto most = static_cast<int64_t>((uint64_t{1} << (8 * sizeof(Number) - 1)) - 1);
            const auto number = toSigned(-most - 1, most, typeText(true, sizeof(Number)));
            return number ? Result<Number>(static_cast<Number>(*number)) : Result<Number>(*number.failure());
        }
    }
    /// The characters of binary data, whatever they are.
    /// @return `BadArgument` when it is not binary
    Result<std::string> text() const;
    /// Binary data.
    /// @return `BadArgument` when it is not binary
    Result<ByteArray> bytes() const;
    /// The same value in another encoding.
    /// @return `BadArgument` when it does not fit
    Result<Value> as(Encoding wanted) const;

    /// For people: a number in decimal, the characters of a text, "no value" for Nil.
    std::string print() const;
    /// For people, with the name that the value has for this state: "Playing", else as `print()`.
    std::string print(const StateId& state) const;

    /// Whether both are the same number, in whatever encoding (30 as Uint8 and 30 as Int32); for others, whether they
    /// are equal. It is what a host is held to that answers a set in an encoding of its own.
    bool meansSameAs(const Value& other) const;

    friend bool operator==(const Value& a, const Value& b) { return a.content == b.content; }
    friend bool operator!=(const Value& a, const Value& b) { return !(a == b); }

private:
    /// A number of any type: its magnitude's bits, and whether it is below zero.
    struct Whole {
        uint64_t bits;
        bool negative;
    };
    template <typename Number> static Whole widest(Number number) {
        if constexpr (std::is_enum_v<Number>) {
            return widest(static_cast<std::underlying_type_t<Number>>(number));
        } else {
            static_assert(std::is_integral_v<Number>, "numbers are whole");
            if constexpr (std::is_signed_v<Number>)
                return {static_cast<uint64_t>(static_cast<int64_t>(number)), number < 0};
            else
                return {static_cast<uint64_t>(number), false};
        }
    }
    static Content smallest(Whole number);
    static Result<Value> inEncoding(Encoding encoding, Whole number);
    static const char* typeText(bool isSigned, size_t bytes);
    std::optional<Whole> whole() const;
    Result<uint64_t> toUnsigned(uint64_t most, const char* type) const;
    Result<int64_t> toSigned(int64_t least, int64_t most, const char* type) const;

    Content content;
};

/// A state and its value.
struct StateValue {
    StateId state;
    Value value;
};

/// For people: "Uint8".
HOSTLINK_EXPORT const char* nameOf(Encoding encoding);

} // namespace hostlink
