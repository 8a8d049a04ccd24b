/// @file
/// The work that the instruction counts are taken of: a message from its values to the wire and back to its values.
///
/// Two ways of it. The bare path looks for packets in the wire's bytes where they stand and adds up what it reads. The
/// program's path does what a program does: it looks at every result, reads the line 64 bytes at a time into a buffer
/// whose front it drops packet by packet, and compares every value with the one that was sent.
#pragma once

#include <cstdint>

/// Which message: the typical one (Uint8, Uint16, Uint32, Int32 and a string of 24 bytes) or one item of 900 bytes.
enum class Load { Typical, Item900 };

/// Through the function core over fixed buffers. Returns a number made of every value read back.
uint32_t wholePathCore(Load load, uint16_t maxPacketSize);

/// Through the message and frame classes.
uint32_t wholePathClasses(Load load, uint16_t maxPacketSize);

/// The program's path through the function core. Returns 1 when every result was as it must be, else 0.
uint32_t programPathCore(Load load, uint16_t maxPacketSize);

/// The program's path through the message and frame classes.
uint32_t programPathClasses(Load load, uint16_t maxPacketSize);
