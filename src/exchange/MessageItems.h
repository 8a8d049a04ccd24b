/// @file
/// The items of value messages, read and written in place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkLib.h>

namespace hostlink::exchange {

/// One item. Its data stay the message's and are valid as long as that.
struct Item {
    uint16_t tag = 0;
    Encoding encoding = ENC_Nil;
    uint64_t number = 0;           ///< of the number encodings: its bits, zero-extended
    const uint8_t* data = nullptr; ///< of "Bin16"
    size_t size = 0;               ///< bytes at `data`

    bool isNil() const { return encoding == ENC_Nil; }
    bool isBinary() const { return encoding == ENC_Bin16; }
    bool isNumber() const { return !isNil() && !isBinary(); }
};

/// All items of a value message; none when the message or one of its items cannot be read.
std::optional<std::vector<Item>> itemsOf(const ByteArray& message);

/// The largest number of this encoding, all its bits set; 0 for those that are no number.
uint64_t maskOf(Encoding encoding);

/// Writes a value message of a known size, item by item. The caller sees to it that it stays below 65536 bytes and 256
/// items.
class MessageWriter {
public:
    explicit MessageWriter(MessageId id);

    MessageWriter& nil(uint16_t tag);
    /// The low bits of `value`, as many as the encoding has.
    MessageWriter& number(uint16_t tag, Encoding encoding, uint64_t value);
    MessageWriter& binary(uint16_t tag, const uint8_t* data, size_t size);
    MessageWriter& text(uint16_t tag, const std::string& characters);

    const ByteArray& message() const { return bytes; }

private:
    void beginItem(uint16_t tag, Encoding encoding);
    void append(uint64_t number, size_t width);

    ByteArray bytes;
};

/// Bytes before the items of a message.
constexpr size_t messageHeaderBytes = 3;
/// Bytes of an item besides its value: tag and encoding; a binary one has its length as well.
constexpr size_t itemHeaderBytes = 3;
constexpr size_t binaryHeaderBytes = itemHeaderBytes + 2;

} // namespace hostlink::exchange
