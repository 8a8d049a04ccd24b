// Written by protocol/generate.py from protocol/hostlink.toml, do not edit: `make protocol` writes it anew.
/// @file
/// Offsets, masks and widths of the wire format.
#pragma once

#include <stdint.h>

constexpr uint8_t sopAt = 0;
constexpr uint8_t lengthAt = 2;
constexpr uint8_t flagsAt = 4;
constexpr uint8_t frameIdAt = 5;
constexpr uint8_t packetIdAt = 6;
constexpr uint8_t paddingAt = 7;
constexpr uint8_t payloadAt = 8;

constexpr uint8_t formatMask = 0x07;
constexpr uint8_t acknowledgeShift = 6;

constexpr uint16_t responseBit = 0x8000;
constexpr uint16_t maxMessageNumber = 63;

/// Bit i is set where the ids whose low five bits are i have a list for a body.
constexpr uint32_t requestLists = 0x2C;
constexpr uint32_t responseLists = 0x28;

constexpr int firstEncoding = 192;
constexpr int lastEncoding = 211;

/// Bytes of the value behind each encoding; −1: no such encoding, or none of fixed length.
constexpr int32_t valueLengths[] = {0, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1, 2, 4, 8, 1, 2, 4, 8};
