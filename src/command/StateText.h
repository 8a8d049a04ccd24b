/// @file
/// States and values as people write them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <hostlink/HostLinkNumbers.h>
#include <hostlinkclient/StateId.h>
#include <hostlinkclient/Value.h>

namespace command {

/// A state by number or name.
/// @throw UsageError it is none; the text has names that are like it
hostlink::StateId stateFrom(const std::string& text);

/// "STATE=VALUE": a value's name, a number, or a text; with ":u8" to ":u64", ":i8" to ":i64", ":text", ":hex" behind it
/// in that encoding, and "nil" for none.
struct Assignment {
    hostlink::StateId state;
    std::string value;
    std::string type; ///< "u8", or empty

    /// @throw UsageError it has no "=", or the state is none
    static Assignment from(const std::string& text);
};

/// Whether the value's encoding is only to be known from what the host holds.
bool asksForEncoding(const Assignment& assignment);

/// The value.
/// @param held what the host holds, or none: a number goes in that encoding when it has room, else in the smallest
/// @throw UsageError it does not fit, is no hexadecimal text, or is a word where the host holds a number
hostlink::Value valueFrom(const Assignment& assignment, const std::optional<hostlink::Value>& held);

/// A whole number, decimal or hexadecimal with 0x; none when the text is anything else or below -2^63 or above 2^64
/// - 1.
std::optional<hostlink::Value> numberFrom(const std::string& text);

} // namespace command
