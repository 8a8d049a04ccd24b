/// @file
/// What the messages of the program's path carry.
#pragma once

#include <cstdint>

#include <hostlink/HostLinkVocabulary.h>

// Not constants: a compiler that knows them copies and compares less than a program does.
extern uint32_t readSize; // bytes that a read of the serial line brings: 64
extern uint8_t volume;
extern uint16_t bitrate;
extern uint32_t playTime;
extern int32_t gain;
extern char title[25];
constexpr uint16_t titleLength = 24;
constexpr uint16_t chunkLength = 900;
extern uint8_t chunk[chunkLength];
