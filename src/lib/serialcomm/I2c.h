/// @file
/// One device on an I2C bus.
#pragma once

#include <memory>
#include <string>

#include "SerialBus.h"

/// The device at one 7-bit address of an I2C bus, through the kernel's i2c-dev driver, which takes 8192 bytes at once.
/// Open objects of the same path and address share one descriptor, which is closed with the last of them.
class I2c : public SerialBus {
public:
    /// Opens nothing and checks nothing; `open` does.
    /// @param path    bus device, for example "/dev/i2c-1"
    /// @param address 7-bit address, 0x03 to 0x77; `open` refuses others
    I2c(const std::string& path, int address);
    ~I2c() override;

    bool open() override;
    ByteArray read(int size) override;
    bool write(const ByteArray& data) override;
    /// A write, a repeated start and a read, without a stop between them: no other master gets in between.
    ByteArray writeRead(const ByteArray& data, int size) override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};
