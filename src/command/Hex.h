/// @file
/// Bytes as hexadecimal digits.
#pragma once

#include <string>

#include <hostlink/ByteArray.h>

namespace command {

/// Two digits for each byte, and this between them.
std::string hexOf(const ByteArray& bytes, const std::string& between = "");

} // namespace command
