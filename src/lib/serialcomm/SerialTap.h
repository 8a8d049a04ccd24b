/// @file
/// Looking on at what the serial library carries.
#pragma once

#include <cstddef>

/// What a call of `Uart`, `I2c` or `Spi` carries. All pointers are good during the call only. New members come at the
/// end.
struct SerialCarried {
    /// `Written` is told before the bytes are handed to the system: nobody can have answered them by then. `Read` is
    /// told when the bytes are there, and `Failed`, without bytes, of a read or of what was told as written.
    enum What : int { Written, Read, Failed };

    const char* wire;     ///< "uart", "i2c", "spi"
    const char* device;   ///< path, as the object was given it
    const char* settings; ///< for people: "115200 baud", "address 0x28"
    What what;
    const unsigned char* bytes;
    std::size_t size; ///< at most what the call was asked for
};

/// Called on the thread that reads or writes, inside its call: must be quick, and must neither throw nor call the
/// library. Several threads may be inside at once.
using SerialTap = void (*)(const SerialCarried& carried);

/// Has `told` be told of every call of this process from now on, in place of whoever was told before; null ends it, and
/// then a call costs one comparison. Calls that are under way may still tell the former one. A transaction that writes
/// and reads is told in two parts. Any thread.
///
/// Another library in place of this one need not have it: who uses it declares it weak and looks whether it is there.
void serialTap(SerialTap told);
