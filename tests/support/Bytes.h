/// @file
/// Bytes for tests: written as hex text in wire order, and held in heap blocks of exactly their size, so that a
/// sanitizer sees the first byte read or written past the end.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include <hostlink/ByteArray.h>

namespace bytes_detail {

inline int hexDigit(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    throw std::invalid_argument(std::string("not a hex digit: ") + digit);
}

} // namespace bytes_detail

/// The bytes that hex text stands for: `bytes("FF FE 08 00")`; blanks may stand anywhere between bytes.
inline ByteArray bytes(const std::string& hex) {
    ByteArray result;
    for (size_t i = 0; i < hex.size(); ++i) {
        if (hex[i] == ' ' || hex[i] == '\n') continue;
        if (i + 1 == hex.size()) throw std::invalid_argument("half a byte at the end of: " + hex);
        const int high = bytes_detail::hexDigit(hex[i]);
        const int low = bytes_detail::hexDigit(hex[++i]);
        result.push_back(static_cast<unsigned char>(high * 16 + low));
    }
    result.shrink_to_fit();
    return result;
}

/// Hex text of `count` bytes, upper case, one blank between two: what `bytes` reads.
inline std::string hex(const unsigned char* data, size_t count) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        if (i > 0) text += ' ';
        text += digits[data[i] >> 4];
        text += digits[data[i] & 15];
    }
    return text;
}

inline std::string hex(const ByteArray& data) {
    return hex(data.data(), data.size());
}

/// One array behind another.
inline ByteArray operator+(ByteArray left, const ByteArray& right) {
    left.insert(left.end(), right.begin(), right.end());
    left.shrink_to_fit();
    return left;
}

/// `count` bytes that differ from their neighbours and repeat only after 256: byte i is (7·i + 3) mod 256.
inline ByteArray patternBytes(size_t count) {
    ByteArray result(count);
    for (size_t i = 0; i < count; ++i) result[i] = static_cast<unsigned char>(7 * i + 3);
    return result;
}

/// Bytes `from` to `to` (exclusive) of `data`.
inline ByteArray slice(const ByteArray& data, size_t from, size_t to) {
    return ByteArray(data.begin() + static_cast<std::ptrdiff_t>(from), data.begin() + static_cast<std::ptrdiff_t>(to));
}

/// A heap block of exactly the size asked for, 0 included.
class ExactBytes {
public:
    /// What stands in a block before anything is written to it.
    static constexpr unsigned char untouched = 0xA5;

    explicit ExactBytes(size_t size, unsigned char fill = untouched) : block(new unsigned char[size]), count(size) {
        std::fill_n(block.get(), size, fill);
    }
    explicit ExactBytes(const ByteArray& content) : ExactBytes(content.size()) {
        std::copy(content.begin(), content.end(), block.get());
    }
    explicit ExactBytes(const std::string& hexText) : ExactBytes(bytes(hexText)) {}

    unsigned char* data() { return block.get(); }
    const unsigned char* data() const { return block.get(); }
    size_t size() const { return count; }
    /// The size as the function core takes it.
    uint16_t size16() const { return static_cast<uint16_t>(count); }
    unsigned char& operator[](size_t i) { return block[i]; }

    ByteArray copy() const { return ByteArray(block.get(), block.get() + count); }
    std::string text() const { return hex(block.get(), count); }
    /// Whether nothing was written from offset `from` on.
    bool isUntouched(size_t from = 0) const {
        return std::all_of(block.get() + from, block.get() + count, [](unsigned char b) { return b == untouched; });
    }

private:
    std::unique_ptr<unsigned char[]> block;
    size_t count;
};
