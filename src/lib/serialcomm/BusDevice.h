/// @file
/// What one device on an I2C and on an SPI bus have in common on the Linux side.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "ByteArray.h"
#include "Descriptor.h"

namespace serialcomm {

/// The bus device file, and the checks before and after each transfer. Every refusal leaves one ERROR line.
class BusDevice {
public:
    /// @param devicePath bus device file
    /// @param name       how log lines name the device
    BusDevice(std::string devicePath, std::string name) : path(std::move(devicePath)), device(std::move(name)) {}

    /// Opens the device file; none when that fails. The caller configures it before it hands it to `use`.
    Descriptor openFile() const;
    void use(Descriptor configured) { file = std::move(configured); }
    int fd() const { return file.get(); }

    /// Whether `verb` may move `size` bytes: not negative, and within `limit`, what the driver takes at once.
    bool isPossible(const char* verb, long long size, std::size_t limit) const;

    /// Whether the device is open, so that `verb` can be done.
    bool isOpenTo(const char* verb) const;

    /// Whether the transfer `verb` of `expected` units, which answered `result` (negative: see errno), was complete.
    /// A short one counts as failed: half a packet is none.
    bool isComplete(const char* verb, long long result, std::size_t expected) const;

    /// One ERROR line about this device.
    bool refuse(std::string_view what) const;
    /// One ERROR line about this device with the text of `error`, an errno value.
    bool fail(std::string_view what, int error) const;

private:
    const std::string path;
    const std::string device;
    Descriptor file;
};

} // namespace serialcomm
