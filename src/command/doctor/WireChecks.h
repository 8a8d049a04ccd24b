/// @file
/// What a link over each wire needs. Nothing is changed: device files are opened to be asked, and no setting is
/// written.
#pragma once

#include <string>

#include "Finding.h"
#include "command/WireOptions.h"

namespace command {

/// A serial port: what the driver has found behind it, who else uses it, exclusive use, its speed. Opening it raises
/// DTR and RTS for that moment, as every opening does.
void checkPort(const WireOptions& wire, Findings& findings);

/// A bus, the host's address on it, and the line. The address is asked by a write without a byte, which tells whether
/// somebody acknowledges and says nothing to the host; not while another program has the bus open.
void checkI2c(const WireOptions& wire, Findings& findings);

/// An SPI device, the driver's buffer, and the line.
void checkSpi(const WireOptions& wire, Findings& findings);

/// The line on which the host asks to be read, through sysfs or its chip's character device. It is not requested.
void checkLine(const WireOptions& wire, Findings& findings);

/// What the machine offers: ports, buses, SPI devices, controllers of lines. Of devices, nothing is opened.
void listDevices(Findings& findings);

} // namespace command
