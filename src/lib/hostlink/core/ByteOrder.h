/// @file
/// Little-endian fields at any address. Written byte by byte so that alignment and the machine's own order do not
/// matter; compilers make one load or store of each.
#pragma once

#include <stdint.h>

inline uint16_t load16le(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}

inline uint32_t load32le(const uint8_t* at) {
    return static_cast<uint32_t>(load16le(at)) | static_cast<uint32_t>(load16le(at + 2)) << 16;
}

inline void store16le(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}

inline void store32le(uint8_t* at, uint32_t value) {
    store16le(at, static_cast<uint16_t>(value));
    store16le(at + 2, static_cast<uint16_t>(value >> 16));
}
