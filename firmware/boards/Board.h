/// @file
/// What the application needs of a board. The functions belong to the main loop. Handlers talk to it through rings, so
/// no call of the engine runs in an interrupt, and no priority has to be thought about.
#ifndef FIRMWARE_BOARD_H
#define FIRMWARE_BOARD_H

#include <stdint.h>

/// Clocks, serial line (115200 baud, 8 data bits, no parity, 1 stop bit), tick. Afterwards interrupts are on.
void boardInit(void);

/// The number of a button that was pressed since the last call, 1 to 9; 0 none.
uint8_t boardButton(void);

/// Milliseconds since the start; wraps.
uint32_t boardMilliseconds(void);

/// Bytes that have come from the module.
/// @return how many were put to `bytes`, up to `room`
uint16_t boardSerialRead(uint8_t* bytes, uint16_t room);

/// How many bytes `boardSerialWrite` takes now.
uint16_t boardSerialRoom(void);

/// Puts bytes onto the line, no more than `boardSerialRoom` says; returns at once.
void boardSerialWrite(const uint8_t* bytes, uint16_t count);

/// Sleeps until an interrupt, and returns at once when there has been one since the last call.
void boardWait(void);

#endif
