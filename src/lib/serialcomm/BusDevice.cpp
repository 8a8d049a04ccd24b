#include "BusDevice.h"

#include <cerrno>

#include "DeviceFile.h"
#include "SerialLog.h"

namespace serialcomm {

bool BusDevice::refuse(std::string_view what) const {
    logError(device, what);
    return false;
}

bool BusDevice::fail(std::string_view what, int error) const {
    logSystemError(device, what, error);
    return false;
}

bool BusDevice::open(const Configure& configure) {
    if (file) return refuse("is open already; make another object to open it again");
    file = openShared(configure);
    if (!file) file = openNew(configure);
    return file != nullptr;
}

// The settings are made again, because spidev keeps them for the device, not for the descriptor, and another object may
// have asked for others. Where they cannot be made the device has gone, and the path tells what stands there now.
std::shared_ptr<const BusFile> BusDevice::openShared(const Configure& configure) const {
    std::shared_ptr<const BusFile> shared = BusFiles::instance().find(key);
    if (!shared || configure(shared->fd()).empty()) return shared;
    BusFiles::instance().forget(key, shared);
    return nullptr;
}

std::shared_ptr<const BusFile> BusDevice::openNew(const Configure& configure) const {
    Descriptor opened = openDeviceFile(key.first, 0, device);
    if (!opened) return nullptr;
    const std::string complaint = configure(opened.get());
    if (complaint.empty()) return BusFiles::instance().share(key, std::move(opened));
    refuse(complaint);
    return nullptr;
}

bool BusDevice::isPossible(const char* verb, long long size, std::size_t limit) const {
    const auto impossible = [&](const std::string& why) {
        return refuse("cannot " + std::string(verb) + " " + std::to_string(size) + " bytes: " + why);
    };
    if (size < 0) return impossible("the size is negative");
    if (static_cast<unsigned long long>(size) > limit) {
        return impossible("the driver takes " + std::to_string(limit) + " at once");
    }
    return true;
}

bool BusDevice::isOpenTo(const char* verb) const {
    return file || refuse("cannot " + std::string(verb) + ": the device is not open");
}

bool BusDevice::isComplete(const char* verb, long long result, std::size_t expected) const {
    const int error = errno;
    if (result >= 0 && static_cast<unsigned long long>(result) == expected) return true;
    tapped.failed();
    if (result < 0) {
        // The two ways in which I2C drivers say that nobody pulled the acknowledge bit low.
        const bool unanswered = error == ENXIO || error == EREMOTEIO;
        return fail("cannot " + std::string(verb) + (unanswered ? " (the device does not acknowledge)" : ""), error);
    }
    return refuse(std::string(verb) + " cut short: " + std::to_string(result) + " of " + std::to_string(expected));
}

} // namespace serialcomm
