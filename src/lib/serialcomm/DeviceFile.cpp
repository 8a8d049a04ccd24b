#include "DeviceFile.h"

#include <cerrno>
#include <fcntl.h>

#include "SerialLog.h"

namespace serialcomm {

std::string inUseByAnother(const std::string& /*path*/) {
    return "is in use by another program";
}

Descriptor openDeviceFile(const std::string& path, int extraFlags, const std::string& device, BusyText whenBusy) {
    const int flags = O_RDWR | O_CLOEXEC | extraFlags;
    Descriptor opened(repeatInterrupted([&] { return ::open(path.c_str(), flags); }));
    if (opened) return opened;
    const int error = errno;
    if (error == EBUSY)
        logError(device, whenBusy(path));
    else if (error == EACCES)
        logSystemError(device, "cannot open (is this user in the group of the device file?)", error);
    else
        logSystemError(device, "cannot open", error);
    return {};
}

} // namespace serialcomm
