#include "SerialDevice.h"

#include <fcntl.h>
#include <sys/ioctl.h>

// The kernel's own header for struct termios2; it cannot stand beside <termios.h>.
#include <asm/termbits.h>

#include "SystemError.h"

SerialDevice::SerialDevice(const std::string& path, unsigned baudRate)
    : devicePath(path),
      device(checked(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), "cannot open " + path)) {
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
