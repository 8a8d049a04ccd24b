/// @file
/// States and their values as people write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "MessageItems.h"

namespace hostsim {

/// A state id: decimal, hexadecimal with 0x, or a name of the vocabulary ("PlayerVolume").
std::optional<uint16_t> parseStateId(const std::string& text);

/// A value for a state.
///
/// - "u8:5", "u16:", "u32:", "u64:", "i8:" to "i64:": a number (decimal or 0x...) in that encoding
/// - "text:hello": those characters, none allowed; "nil": no value
/// - a bare number: in the encoding of `held` when that is a number and has room, else in the smallest one that has
/// - a value name of this state ("Playing"): as the number behind it
/// - anything else: text
///
/// None when the number does not fit the encoding asked for.
std::optional<Value> parseValue(uint16_t id, const std::string& text, const Value& held);

/// A value for people: a number in decimal, the characters of a text, "no value".
std::string valueText(const Value& value);

} // namespace hostsim
