#include "SerialDevice.h"

#include <cerrno>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>

// The kernel's own header for struct termios2; it cannot stand beside <termios.h>.
#include <asm/termbits.h>

#include <terminal/SystemError.h>

namespace {

[[noreturn]] void throwInUse(const std::string& path) {
    throw std::runtime_error(path + " is in use by another program; end that one, or choose another device");
}

// A terminal marked for exclusive use cannot even be opened, unless by root.
int openDevice(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0 && errno == EBUSY) throwInUse(path);
    return checked(descriptor, "cannot open " + path);
}

} // namespace

SerialDevice::SerialDevice(const std::string& path, unsigned baudRate) : devicePath(path), device(openDevice(path)) {
    lock();
    struct termios2 settings {};
    checked(::ioctl(device.get(), TCGETS2, &settings), path + " is not a serial device");
    settings.c_iflag = 0;
    settings.c_oflag = 0;
    settings.c_lflag = 0;
    settings.c_cflag = CS8 | CREAD | CLOCAL | BOTHER; // BOTHER: the speeds are plain numbers
    settings.c_ispeed = baudRate;
    settings.c_ospeed = baudRate;
    checked(::ioctl(device.get(), TCSETSF2, &settings), path + " does not take the settings");
}

// Before anything is changed: the settings may be those of a conversation.
void SerialDevice::lock() {
    if (::flock(device.get(), LOCK_EX | LOCK_NB) == 0) return;
    if (errno != EWOULDBLOCK) throwSystemError("cannot lock " + devicePath);
    throwInUse(devicePath);
}
