/// @file
/// The work that the instruction counts are taken of: a message from its values to the wire and back to its values.
#pragma once

#include <cstdint>

/// Which message: the typical one (Uint8, Uint16, Uint32, Int32 and a string of 24 bytes) or one item of 900 bytes.
enum class Load { Typical, Item900 };

/// Through the function core over fixed buffers. Returns a number made of every value read back.
uint32_t wholePathCore(Load load, uint16_t maxPacketSize);

/// Through the message and frame classes.
uint32_t wholePathClasses(Load load, uint16_t maxPacketSize);
