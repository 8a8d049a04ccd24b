/// @file
/// Names of the tags and values of value messages, as the vocabulary tables give them.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "HostLinkVocabulary.h"

/// Name of a tag in this kind of message, or "Unknown (" and the number.
std::string nameTag(MessageId id, uint16_t tag);

/// The value names of a tag in this kind of message; null when it has none.
const std::map<int32_t, std::string>* valueNames(MessageId id, uint16_t tag);

/// The set bits of a bit-flag value, named and joined by "|".
/// A 64-bit value is tested with masks that are shifted as 32-bit numbers (the count taken modulo 32) and then
/// sign-extended: bits 32 to 63 test the same bits as 0 to 31 again, and bit 31 stands for 31 to 63. The dumps have
/// always looked so, and log readers match on them.
template <typename T>
std::string nameBits(T value, const std::map<int32_t, std::string>& names) {
    std::string text;
    for (unsigned bit = 0; bit < 8 * sizeof(T); ++bit) {
        const auto mask = static_cast<int32_t>(uint32_t{1} << bit % 32);
        if ((static_cast<int64_t>(value) & mask) == 0) continue;
        const auto name = names.find(mask);
        text += name != names.end() ? name->second : "UNDEF_BIT" + std::to_string(bit);
        text += '|';
    }
    if (text.empty()) return "None";
    text.pop_back();
    return text;
}

/// Name of an item's value: "Invalid", its name, the names of its bits, or its decimal number. Only an exact match with
/// a named value counts, for bit flags too: a value with two bits set is shown as a number.
template <typename T>
std::string nameValue(MessageId id, uint16_t tag, T value, bool valid) {
    static_assert(std::is_integral_v<T>);
    if (!valid) return "Invalid";
    const auto* names = valueNames(id, tag);
    if (names == nullptr) return std::to_string(value);
    const auto name = names->find(static_cast<int32_t>(value));
    if (name == names->end()) return std::to_string(value);
    return stateBitFlag.count(tag) == 0 ? name->second : nameBits(value, *names);
}
