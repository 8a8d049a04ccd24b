/// @file
/// What a serial port has taken and not yet sent.
#pragma once

#include "Uart.h"

/// How many written bytes wait for the line, without the few that are in the transmitter; 0 when the port is not open
/// or its driver does not tell. Any thread; not at the same time as `init` or the destructor.
///
/// Another library in place of this one need not have these functions: who uses them declares them weak and looks
/// whether they are there.
int uartQueuedOutput(Uart& uart);

/// Drops those bytes; without effect when the port is not open. A packet that has begun is cut off. As above.
void uartDropOutput(Uart& uart);
