/// @file
/// A fuzzer's bytes, read from front to back as choices and contents.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <hostlink/ByteArray.h>

/// Reads beyond the end give zeros and empty arrays, so that every input means something.
class Input {
public:
    Input(const uint8_t* data, size_t size) : at(data), end(data + size) {}

    bool empty() const { return at == end; }
    size_t left() const { return static_cast<size_t>(end - at); }

    uint8_t byte() { return empty() ? uint8_t{0} : *at++; }
    uint16_t word() {
        const unsigned low = byte();
        return static_cast<uint16_t>(low | unsigned{byte()} << 8);
    }
    uint32_t doubleWord() {
        const uint32_t low = word();
        return low | uint32_t{word()} << 16;
    }
    /// A number below `limit`, which is 1 to 256.
    unsigned below(unsigned limit) { return byte() % limit; }
    bool flag() { return (byte() & 1) != 0; }

    /// Up to `count` bytes, in a heap block of exactly their number.
    ByteArray bytes(size_t count) {
        const uint8_t* from = at;
        at += std::min(count, left());
        return ByteArray(from, at);
    }
    ByteArray rest() { return bytes(left()); }

private:
    const uint8_t* at;
    const uint8_t* end;
};
