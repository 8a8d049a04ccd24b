/// @file
/// Byte strings and how the control interface spells them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace busrig {

using Bytes = std::vector<unsigned char>;

/// "fffe08"; "-" for no bytes, so that an empty string stays visible among words.
std::string toHex(const Bytes& bytes);

/// The reverse of `toHex`; nothing when the text is not an even number of hexadecimal digits.
std::optional<Bytes> fromHex(const std::string& text);

/// "ENXIO" for ENXIO; the number in decimal for one that the rig has no use for.
std::string errnoName(int number);

/// The number behind a name such as "ENXIO".
std::optional<int> errnoByName(const std::string& name);

} // namespace busrig
