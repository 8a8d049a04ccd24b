#include "PlayedTerminal.h"

#include <cerrno>
#include <cstring>

// The kernel's own header: <termios.h> has no termios2, and the two cannot stand in one file.
#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <linux/serial.h>
#include <sys/ioctl.h>

namespace sweep {

namespace {

// A driver whose every setting is set to something.
serial_struct driverWith(int flags) {
    serial_struct driver{};
    driver.type = PORT_16550A;
    driver.line = 1;
    driver.port = 0x2F8;
    driver.irq = 3;
    driver.flags = flags;
    driver.xmit_fifo_size = 16;
    driver.custom_divisor = 7;
    driver.baud_base = 115200;
    driver.close_delay = 50;
    driver.closing_wait = 3000;
    return driver;
}

bool isOtherwiseKept(const serial_struct& told, int flags) {
    const serial_struct found = driverWith(flags);
    return (told.flags | static_cast<int>(ASYNC_LOW_LATENCY)) == (flags | static_cast<int>(ASYNC_LOW_LATENCY)) &&
           told.type == found.type && told.line == found.line && told.port == found.port && told.irq == found.irq &&
           told.xmit_fifo_size == found.xmit_fifo_size && told.custom_divisor == found.custom_divisor &&
           told.baud_base == found.baud_base && told.close_delay == found.close_delay &&
           told.closing_wait == found.closing_wait;
}

// Of the speeds that have a name, those that tests use.
unsigned standardSpeed(unsigned controlFlags) {
    switch (controlFlags & CBAUD) {
    case B9600: return 9600;
    case B115200: return 115200;
    case B921600: return 921600;
    default: return 0;
    }
}

// What the rest of the settings is, of a pseudo terminal: the older request, which emulators know too.
struct termios2 settingsOf(int fd) {
    struct termios2 all {};
    struct termios line {};
    ::ioctl(fd, TCGETS, &line);
    std::memcpy(&all, &line, sizeof line); // the same fields, and then the speeds
    return all;
}

} // namespace

PlayedKernel::Answer PlayedTerminal::ioctl(int fd, unsigned long request, void* argument) {
    switch (request) {
    case TCSETS:
        controlFlags = static_cast<struct termios*>(argument)->c_cflag;
        inputFlags = static_cast<struct termios*>(argument)->c_iflag;
        speed = standardSpeed(controlFlags);
        return {};
    case TCGETS2: {
        struct termios2 line = settingsOf(fd);
        line.c_ispeed = line.c_ospeed = speedInstead != 0 ? speedInstead : speed;
        *static_cast<struct termios2*>(argument) = line;
        return 0;
    }
    case TCSETS2:
        arbitraryBaudRate = static_cast<struct termios2*>(argument)->c_ospeed;
        speed = arbitraryBaudRate.load();
        controlFlags = static_cast<struct termios2*>(argument)->c_cflag;
        inputFlags = static_cast<struct termios2*>(argument)->c_iflag;
        return 0;
    case TIOCGSERIAL: *static_cast<serial_struct*>(argument) = driverWith(driverFlags); return 0;
    case TIOCSSERIAL: {
        if (!takesLowLatency) return -EPERM;
        const serial_struct& told = *static_cast<serial_struct*>(argument);
        lowLatency = (told.flags & static_cast<int>(ASYNC_LOW_LATENCY)) != 0;
        driverOtherwiseKept = isOtherwiseKept(told, driverFlags);
        driverFlags = told.flags;
        return 0;
    }
    case TIOCOUTQ:
        *static_cast<int*>(argument) = queueQuestions != 0 ? 5 : 0;
        if (queueQuestions > 0) --queueQuestions;
        return 0;
    default: return {};
    }
}

// Waiting for the queue to empty, with no descriptor at all, takes no time here.
PlayedKernel::Answer PlayedTerminal::poll(pollfd* /*entries*/, std::size_t count, int /*timeout*/) {
    return count == 0 && queueQuestions >= 0 ? Answer(0) : Answer();
}

PlayedKernel::Answer PlayedTerminal::write(int /*fd*/, const void* /*data*/, std::size_t size) {
    constexpr std::size_t eventSize = 8; // a write to an event descriptor is none to the line
    if (size == eventSize || busyWrites <= 0) return {};
    --busyWrites;
    return -EAGAIN;
}

} // namespace sweep
