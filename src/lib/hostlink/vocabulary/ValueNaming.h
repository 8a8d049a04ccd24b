/// @file
/// Names of the tags and values of value messages, as the vocabulary tables give them.
#pragma once

#include <cstdint>
#include <string>

#include "Text.h"
#include "hostlink/HostLinkVocabulary.h"

/// How the items of this kind of message are named; null when they are shown by number only.
const ValueMessageParsing* parsingOf(MessageId id);

/// Appends the name of a tag, or "Unknown (" and the number. `parsing` may be null.
void appendTagName(Text& text, const ValueMessageParsing* parsing, uint16_t tag);

/// The named values of a tag; null when it has none. `parsing` may be null.
const std::map<int32_t, std::string>* valueNames(const ValueMessageParsing* parsing, uint16_t tag);

/// Appends the set bits of a bit-flag value, named and joined by "|".
/// A 64-bit value is tested with masks that are shifted as 32-bit numbers (the count taken modulo 32) and then
/// sign-extended: bits 32 to 63 test the same bits as 0 to 31 again, and bit 31 stands for 31 to 63. The dumps have
/// always looked so, and log readers match on them.
template <typename T> void appendBitNames(Text& text, T value, const std::map<int32_t, std::string>& names) {
    bool none = true;
    for (unsigned bit = 0; bit < 8 * sizeof(T); ++bit) {
        const auto mask = static_cast<int32_t>(uint32_t{1} << bit % 32);
        if ((static_cast<int64_t>(value) & mask) == 0) continue;
        if (!none) text += '|';
        none = false;
        const auto name = names.find(mask);
        if (name != names.end()) {
            text += name->second;
        } else {
            text += "UNDEF_BIT";
            appendDecimal(text, bit);
        }
    }
    if (none) text += "None";
}

/// Appends the name of a tag's value, the names of its bits, or its decimal number. Only an exact match with a named
/// value counts, for bit flags too: a value with two bits set is shown as a number. `parsing` may be null.
template <typename T> void appendValueName(Text& text, const ValueMessageParsing* parsing, uint16_t tag, T value) {
    const auto* names = valueNames(parsing, tag);
    if (names == nullptr) return appendDecimal(text, value);
    const auto name = names->find(static_cast<int32_t>(value));
    if (name == names->end()) return appendDecimal(text, value);
    if (stateBitFlag.count(tag) != 0) return appendBitNames(text, value, *names);
    text += name->second;
}
