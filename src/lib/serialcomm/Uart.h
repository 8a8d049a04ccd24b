/// @file
/// A serial port.
#pragma once

#include <memory>
#include <string>

#include "ByteArray.h"

/// A serial port in raw mode: 8 data bits, every byte value passes unchanged in both directions.
///
/// One thread builds, opens and destroys it; one may `read` and another `write` at the same time. The object may be
/// destroyed while they are inside: the calls come back with a failure and the destructor waits for them. What goes
/// wrong is told at ERROR by the logger "SerialComm", in lines that begin with "Uart " and the path.
class Uart {
public:
    /// Opens nothing and checks nothing; `init` does.
    /// @param path      device file, for example "/dev/ttyS0"
    /// @param baudRate  bits per second, standard or not, up to what the driver takes
    /// @param options   sum of 1 two stop bits, 2 RTS/CTS flow control, 4 low latency (a driver that cannot do that is
    ///                  told at WARN and works without)
    /// @param parity    "none", "even" or "odd"; with a parity, a byte that arrives damaged is read as 0
    /// @param exclusive nobody else may open the port meanwhile; without it, others that do not ask for that may
    Uart(const std::string& path, int baudRate, int options, const std::string& parity, bool exclusive);

    /// Wakes a blocked `read` or `write`, waits for it to leave and closes the port. Written bytes that are still going
    /// out are waited for, at most 1.25 times as long as the line takes for them and half a second more (4096 bytes at
    /// 9600 baud: 5.9 s). Bytes that have not moved for half a second are dropped, and the head of a write that failed
    /// is given no more than that. RTS/CTS is switched off before the close, which therefore waits for no far side.
    ~Uart();

    /// Opens and configures the port and drops what arrived before. False, with an ERROR line, when a setting is not
    /// possible, the device is missing, not permitted, not a serial port or in use, or the system fails: then nothing
    /// stays open and another attempt is allowed. False as well, and nothing changes, when the port is open already.
    bool init();

    /// Waits, without a time-out and without waking up meanwhile, until at least one byte is there, and returns what is
    /// there: at most `size` bytes, and at most 4096.
    /// @param size  0 gives an empty array at once and no error, whatever the state
    /// @param error set to true, with an empty result, when the port is not open, the line is lost (told once) or the
    ///              object is being destroyed; left alone on success
    ByteArray read(unsigned long size, bool* error);

    /// Writes all bytes, however long the line takes for them. False when the port is not open, the line is lost, the
    /// object is being destroyed, or the far side takes nothing for 2 seconds (noticed at most half a second later); an
    /// unknown part may have gone out then.
    /// @param data empty gives true at once, whatever the state
    bool write(const ByteArray& data);

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};
