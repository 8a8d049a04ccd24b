/// @file
/// One device on an SPI bus.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "SerialBus.h"

/// The device behind one chip-select line of an SPI bus, through the kernel's spidev driver: 8 bits a word, the chip
/// selected (low) for the length of each call. In each direction the driver takes as many bytes at once as its
/// parameter `bufsiz` says, 4096 unless it was loaded otherwise. Open objects of the same path, speed and mode share
/// one descriptor, which is closed with the last of them.
///
/// SPI shifts in both directions at once, this class uses one at a time (half duplex). For the device that means: while
/// it receives, whatever it shifts out is dropped; while it answers, what it receives are zeros, which it has to
/// ignore. An answer to the bytes of a `writeRead` begins after the last of them, not beside the first.
class Spi : public SerialBus {
public:
    /// Opens nothing and checks nothing; `open` does.
    /// @param path  bus device, for example "/dev/spidev0.0"
    /// @param speed highest clock rate in Hz, above 0; the controller takes the next lower one that it can make
    /// @param mode  clock polarity and phase, 0 to 3 as in `SPI_MODE_0` to `SPI_MODE_3`; `open` refuses others
    Spi(const std::string& path, int speed, uint8_t mode);
    ~Spi() override;

    bool open() override;
    ByteArray read(int size) override;
    bool write(const ByteArray& data) override;
    /// A write phase, then a read phase, with the chip selected throughout.
    ByteArray writeRead(const ByteArray& data, int size) override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};
