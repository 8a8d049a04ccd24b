/// @file
/// What a port to a board and the code that all boards share have of each other. A port is one folder:
///
/// - a linker script that says where CODE and DATA are, and includes `sections.ld`;
/// - a source with `boardInit` and `boardButton` (`boards/Board.h`), `portStartTransmitter`, three handlers, and the
/// table of
///   interrupts.
///
/// The handlers may have any priorities: each writes what no other writes.
#ifndef FIRMWARE_PORT_H
#define FIRMWARE_PORT_H

#include <stdint.h>

#include "Processor.h"

/// @name For the port's handlers
/// @{

/// A millisecond is over. From the tick.
void portTick(void);
/// A byte has come from the module. What finds no room is lost, as it is in a register that nobody reads in time: the
/// packet comes again.
void portReceived(uint8_t byte);
/// The byte that goes out to the module next. When the transmitter can take one.
/// @return 0 there is none
uint8_t portNextByte(uint8_t* byte);
/// @}

/// The port's: has the handler of the transmitter run, which asks for the next byte when the transmitter is idle. It is
/// called from the main loop when there are bytes.
void portStartTransmitter(void);

#endif
