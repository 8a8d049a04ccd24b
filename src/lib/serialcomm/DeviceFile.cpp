#include "DeviceFile.h"

#include <array>
#include <cerrno>
#include <string_view>

#include <fcntl.h>

#include "SerialLog.h"

namespace serialcomm {

namespace {

// Device files that a module makes, or an overlay: by what stands before their number.
struct Maker {
    std::string_view prefix;
    std::string_view advice;
};

constexpr std::array<Maker, 6> makers{{
    {"/dev/i2c-", "the module i2c-dev makes this file, for a bus that the device tree or an overlay enables"},
    {"/dev/spidev", "the module spidev makes this file, for a device that the device tree or an overlay names"},
    {"/dev/ttyUSB",
     "the adapter's module, such as ftdi_sio, cp210x, ch341 or pl2303, makes this file: is it plugged in?"},
    {"/dev/ttyACM", "the module cdc_acm makes this file: is the device plugged in?"},
    {"/dev/ttyAMA", "the driver amba-pl011 makes this file, for a port that the device tree or an overlay enables"},
    {"/dev/ttyS",
     "the driver 8250, or the processor's own, makes this file, for a port that the device tree or an overlay "
     "enables"},
}};

// What would make a missing device file appear, for the log line; empty when it is not known.
std::string makerOf(std::string_view path) {
    const std::size_t number = path.find_last_not_of("0123456789.") + 1;
    if (number == path.size()) return {};
    for (const Maker& maker : makers) {
        if (path.substr(0, number) == maker.prefix) return "; " + std::string(maker.advice);
    }
    return {};
}

} // namespace

std::string inUseByAnother(const std::string& /*path*/) {
    return "is in use by another program";
}

Descriptor openDeviceFile(const std::string& path, int extraFlags, const std::string& device, BusyText whenBusy) {
    const int flags = O_RDWR | O_CLOEXEC | extraFlags;
    Descriptor opened(repeatInterrupted([&] { return ::open(path.c_str(), flags); }));
    if (opened) return opened;
    const int error = errno;
    if (error == EBUSY) {
        logError(device, whenBusy(path));
    } else if (error == EACCES) {
        logSystemError(device, "cannot open (is this user in the group of the device file?)", error);
    } else if (error == ENOENT || error == ENXIO || error == ENODEV) {
        logError(device, "cannot open: " + errorText(error) + makerOf(path));
    } else {
        logSystemError(device, "cannot open", error);
    }
    return {};
}

} // namespace serialcomm
