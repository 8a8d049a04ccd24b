/// @file
/// The whole path of a message with everything known beforehand: no result codes, no iterators, no lengths to look up.
#pragma once

#include <cstdint>

#include "WholePath.h"

namespace bench {

/// The same bytes on the wire and the same number as `wholePathCore`; each value is stored and loaded at its known
/// offset. What is left is what any code for these bytes has to do.
uint32_t straightLine(Load load, uint16_t maxPacketSize);

/// The wire's half of it, from the values to the packets one behind the other. Returns their bytes.
uint32_t straightLineWire(Load load, uint16_t maxPacketSize, uint8_t* wire);

} // namespace bench
