/// @file
/// The items of value messages, taken as they stand on the wire.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkLib.h>

namespace hostsim {

/// One value with its encoding. For "Bin16" the bytes are the data without its length; for numbers they are the
/// little-endian bytes of the number; "Nil" has none.
struct Value {
    Encoding encoding = ENC_Nil;
    ByteArray bytes;

    bool operator==(const Value& other) const { return encoding == other.encoding && bytes == other.bytes; }
    bool operator!=(const Value& other) const { return !(*this == other); }
};

/// One item of a value message.
struct Item {
    uint16_t tag = 0;
    Value value;
};

/// A number of 1, 2, 4 or 8 bytes in the given encoding; the upper bits that the encoding has no room for are cut off.
Value numberValue(Encoding encoding, uint64_t number);

/// Characters as "Bin16", at most 65535 of them.
Value textValue(const std::string& text);

/// The number behind a fixed-length encoding, signed ones sign-extended; none for "Nil" and "Bin16".
std::optional<int64_t> numberOf(const Value& value);

/// The bytes that follow the encoding on the wire: 1, 2, 4 or 8 for numbers, 0 for everything else.
int numberWidth(Encoding encoding);

/// Whether it is the encoding of a number in two's complement.
bool isSigned(Encoding encoding);

/// All items of a value message; none when the message or one of its items cannot be read.
std::optional<std::vector<Item>> readItems(const ByteArray& message);

/// A value message. Items beyond the 255th and items that would make it longer than 65535 bytes are left out.
ByteArray writeItems(MessageId id, const std::vector<Item>& items);

/// The numbers of a list message; none when the message cannot be read.
std::optional<std::vector<uint16_t>> readList(const ByteArray& message);

/// A list message of at most 255 numbers.
ByteArray writeList(MessageId id, const std::vector<uint16_t>& numbers);

} // namespace hostsim
