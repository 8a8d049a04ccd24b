/// @file
/// Bytes out of what people paste.
#pragma once

#include <string>

#include <hostlink/ByteArray.h>

namespace command {

/// Bytes written in hexadecimal digits: "FF FE 0F 00", "fffe0f00", "0xff, 0xfe", and dumps with an offset before and
/// characters behind each line, as `xxd` and `hexdump -C` print them. What holds bytes that are no text is taken as it
/// stands.
/// @throw UsageError a word is no bytes; the text says which and in which line
ByteArray bytesOf(const std::string& input);

} // namespace command
