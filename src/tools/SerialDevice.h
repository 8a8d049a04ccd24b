/// @file
/// A real serial port.
#pragma once

#include <string>

#include <descriptor/Descriptor.h>
#include <terminal/LinePort.h>

/// A serial device in raw mode: 8 data bits, no parity, one stop bit, no flow control. Locked as long as the object
/// exists, by the lock that links take too.
class SerialDevice : public LinePort {
public:
    /// @param baudRate bits per second, any that the driver can do
    /// @throw std::system_error the device cannot be opened or does not take the settings
    /// @throw std::runtime_error another program has locked it
    SerialDevice(const std::string& path, unsigned baudRate);

    int descriptor() const override { return device.get(); }
    const std::string& path() const override { return devicePath; }

private:
    void lock();

    std::string devicePath;
    descriptor::Descriptor device;
};
