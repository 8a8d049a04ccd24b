/// @file
/// What I2C and SPI have in common.
#pragma once

#include "ByteArray.h"

/// A clocked bus on which this side is master and one device answers. One thread at a time.
///
/// Each failed call leaves one ERROR line of the logger "SerialComm", with the system's reason; nothing is tried twice
/// but what a signal interrupted. A transfer is complete or failed: one that the driver cuts short counts as failed,
/// and one longer than the driver takes at once is refused, not cut.
class SerialBus {
public:
    virtual ~SerialBus();

    /// Opens and configures the device. False when that fails: then nothing stays open and another attempt is allowed.
    /// False as well, and nothing changes, when it is open already.
    virtual bool open() = 0;
    /// Clocks in `size` bytes. Empty when that fails or the size is negative; 0 gives an empty array and leaves the bus
    /// alone.
    virtual ByteArray read(int size) = 0;
    /// Clocks out all bytes; false when that fails. Nothing to write leaves the bus alone and is a success if the
    /// device is open.
    virtual bool write(const ByteArray& data) = 0;
    /// One transaction that sends `data` and then returns `size` bytes received. Empty when that fails or the size is
    /// negative. Without data it is a `read`, with a size of 0 a `write`, whose failure shows in the log alone.
    virtual ByteArray writeRead(const ByteArray& data, int size) = 0;
};
