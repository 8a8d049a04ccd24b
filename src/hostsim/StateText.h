/// @file
/// Values of states as people write them.
#pragma once

#include <string>

#include <hostlinkclient/Value.h>

namespace hostsim {

/// A value for a state.
///
/// - "u8:5", "u16:", "u32:", "u64:", "i8:" to "i64:": a number (decimal or 0x...) in that encoding
/// - "text:hello": those characters, none allowed; "nil": no value
/// - a bare number: in the encoding of `held` when that is a number and has room, else in the smallest one that has
/// - a value name of this state ("Playing"): as the number behind it
/// - anything else: text
///
/// `BadArgument` when a prefix asks for a number that does not fit, or for one where there is none; the text says
/// which.
hostlink::Result<hostlink::Value> parseValue(const hostlink::StateId& state, const std::string& text,
                                             const hostlink::Value& held);

} // namespace hostsim
