#include "Json.h"

#include <cstddef>

namespace json {

namespace {

// Bytes of the UTF-8 character that begins at `at`; 0 when none does.
size_t characterSize(const std::string& text, size_t at) {
    const auto byteAt = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byteAt(at);
    if (lead < 0x80) return 1;
    const size_t size = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (size == 0 || at + size > text.size()) return 0;
    for (size_t i = at + 1; i < at + size; ++i) {
        if ((byteAt(i) & 0xC0) != 0x80) return 0;
    }
    const unsigned char second = byteAt(at + 1); // tells characters in too many bytes, surrogates, and beyond U+10FFFF
    const bool tooLow = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool tooHigh = (lead == 0xED && second >= 0xA0) || (lead == 0xF4 && second >= 0x90);
    return tooLow || tooHigh ? 0 : size;
}

std::string escaped(unsigned char character) {
    static constexpr char digits[] = "0123456789abcdef";
    return std::string("\\u00") + digits[character >> 4] + digits[character & 0xF];
}

} // namespace

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (size_t at = 0, size = 0; at < text.size(); at += size) {
        size = characterSize(text, at);
        const auto character = static_cast<unsigned char>(text[at]);
        if (size == 0) {
            result += "\\ufffd";
            size = 1;
        } else if (character == '"' || character == '\\') {
            result += {'\\', text[at]};
        } else {
            result += character < 0x20 ? escaped(character) : text.substr(at, size);
        }
    }
    return result + '"';
}

Object& Object::raw(const std::string& name, const std::string& value) {
    members += (members.empty() ? "" : ",") + quoted(name) + ":" + value;
    return *this;
}

} // namespace json
