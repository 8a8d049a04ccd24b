/// @file
/// What one device on an I2C and on an SPI bus have in common on the Linux side.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "BusFiles.h"
#include "ByteArray.h"
#include "Tapped.h"

namespace serialcomm {

/// The bus device file, and the checks before and after each transfer. Every refusal leaves one ERROR line.
class BusDevice {
public:
    /// Makes the settings on an open device file; what is wrong, or nothing.
    using Configure = std::function<std::string(int fd)>;

    /// @param wire       which bus, for who looks on: "i2c", "spi"
    /// @param devicePath bus device file
    /// @param settings   what is set on it, as text: objects with the same text share one open file
    /// @param name       how log lines name the device
    BusDevice(const char* wire, const std::string& devicePath, const std::string& settings, std::string name)
        : tapped(wire, devicePath, settings), key(devicePath, settings), device(std::move(name)) {}

    /// Opens the device file, or shares the one that another object has open, and makes the settings. False when that
    /// fails, or when it is open already.
    bool open(const Configure& configure);
    int fd() const { return file->fd(); }

    /// Whether `verb` may move `size` bytes: not negative, and within `limit`, what the driver takes at once.
    bool isPossible(const char* verb, long long size, std::size_t limit) const;

    /// Whether the device is open, so that `verb` can be done.
    bool isOpenTo(const char* verb) const;

    /// Whether the transfer `verb` of `expected` units, which answered `result` (negative: see errno), was complete.
    /// A short one counts as failed, which who looks on is told: half a packet is none.
    bool isComplete(const char* verb, long long result, std::size_t expected) const;

    /// One ERROR line about this device.
    bool refuse(std::string_view what) const;
    /// One ERROR line about this device with the text of `error`, an errno value.
    bool fail(std::string_view what, int error) const;

    const Tapped tapped;

private:
    std::shared_ptr<const BusFile> openShared(const Configure& configure) const;
    std::shared_ptr<const BusFile> openNew(const Configure& configure) const;

    const BusFiles::Key key;
    const std::string device;
    std::shared_ptr<const BusFile> file; // none until it is open
};

} // namespace serialcomm
