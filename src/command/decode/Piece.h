/// @file
/// What is decoded: bytes that belong together, and what is known of them.
#pragma once

#include <cstddef>
#include <string>

#include <hostlink/ByteArray.h>

namespace command {

enum class Direction { Unknown, ToHost, FromHost };

/// A stretch of one direction's bytes: a whole stream, or what was sent at once.
struct Piece {
    ByteArray bytes;
    Direction direction = Direction::Unknown;
    std::string time;     ///< as the input has it; empty where it has none
    std::size_t line = 0; ///< of the input, where that is a log; 0 where it is none
};

} // namespace command
