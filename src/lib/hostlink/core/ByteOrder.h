/// @file
/// Little-endian fields at any address. Written byte by byte so that alignment and the machine's own order do not
/// matter; compilers make one load or store of each.
/// Static, as are all helpers of the function core: what links it gets the public functions and no other symbol.
#pragma once

#include <stdint.h>

static inline uint16_t load16le(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}

static inline uint32_t load32le(const uint8_t* at) {
    return static_cast<uint32_t>(load16le(at)) | static_cast<uint32_t>(load16le(at + 2)) << 16;
}

static inline void store16le(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}

static inline void store32le(uint8_t* at, uint32_t value) {
    store16le(at, static_cast<uint16_t>(value));
    store16le(at + 2, static_cast<uint16_t>(value >> 16));
}
