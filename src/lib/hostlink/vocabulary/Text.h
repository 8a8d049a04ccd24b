/// @file
/// Text that is put together of many small pieces.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

/// Gathers pieces beside the string, which is asked to grow once for many of them: half the instructions for the text
/// of 10 items.
class Text {
public:
    Text& operator+=(std::string_view piece) {
        if (piece.size() > sizeof gathered - held) return addLarge(piece);
        std::memcpy(gathered + held, piece.data(), piece.size());
        held += piece.size();
        return *this;
    }

    Text& operator+=(char letter) {
        *roomFor(1) = letter;
        ++held;
        return *this;
    }

    /// Where up to `count` letters, at most 64, may be written; `wrote` then tells how many were.
    char* roomFor(size_t count) {
        if (count > sizeof gathered - held) flush();
        return gathered + held;
    }
    void wrote(size_t count) { held += count; }

    /// What was gathered.
    std::string string() {
        flush();
        return std::move(whole);
    }

private:
    [[gnu::noinline]] void flush() {
        whole.append(gathered, held);
        held = 0;
    }

    [[gnu::noinline]] Text& addLarge(std::string_view piece) {
        flush();
        whole += piece;
        return *this;
    }

    std::string whole;
    size_t held = 0; ///< letters gathered and not in `whole` yet
    char gathered[1024];
};

/// Appends a number in decimal.
template <typename T> void appendDecimal(Text& text, T number) {
    static_assert(std::is_integral_v<T>);
    constexpr size_t digits = 24; // more than the 20 of 64 bits with their sign
    char* at = text.roomFor(digits);
    text.wrote(static_cast<size_t>(std::to_chars(at, at + digits, number).ptr - at));
}
