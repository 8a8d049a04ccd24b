#include "WholePathValues.h"

#include <cstring>

uint32_t readSize = 64;
uint8_t volume = 40;
uint16_t bitrate = 320;
uint32_t playTime = 123456;
int32_t gain = -7;
char title[25] = "A track title, 24 bytes ";
uint8_t chunk[chunkLength];

namespace {

[[maybe_unused]] const bool filled = (std::memset(chunk, 0x5A, sizeof chunk), true);

} // namespace
