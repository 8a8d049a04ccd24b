/// @file
/// Ending a serial port before it is destroyed.
#pragma once

#include "Uart.h"

/// Ends every use of the port for good: refuses further calls, wakes a blocked `read` or `write` and waits until both
/// have left. The object stays alive: calls that come later fail at once, without a line in the log, and `init` fails
/// too. So whoever cannot tell whether a thread is still on its way into the port ends it, waits for that thread, and
/// destroys it then. Any thread, also again; not at the same time as `init` or the destructor.
///
/// Another library in place of this one need not have it: who uses it declares it weak and looks whether it is there.
void uartEnd(Uart& uart);
