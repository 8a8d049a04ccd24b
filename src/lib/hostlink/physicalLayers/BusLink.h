/// @file
/// How the I2C and the SPI link take their bus.
#pragma once

#include <memory>
#include <utility>

#include <serialcomm/SerialBus.h>

/// Opens the bus and hands it out as a plain pointer: a link keeps its bus for the rest of the process. Null when it
/// cannot be opened; the serial library's log says why.
SerialBus* openedForGood(std::unique_ptr<SerialBus> bus);
