/// @file
/// The search for a start mark as it is first written.
#pragma once

#include <cstdint>

namespace bench {

/// Offset of the first FF FE, or `HOSTLINK_NO_SOP`.
uint32_t scanByteByByte(const uint8_t* bytes, uint16_t count);

} // namespace bench
