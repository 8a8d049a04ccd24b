#include "PlayedTerminal.h"

#include <cerrno>

// The kernel's own header: <termios.h> has no termios2, and the two cannot stand in one file.
#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <linux/serial.h>

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

} // namespace

PlayedKernel::Answer PlayedTerminal::ioctl(int /*fd*/, unsigned long request, void* argument) {
    switch (request) {
    case TCSETS: controlFlags = static_cast<struct termios*>(argument)->c_cflag; return {};
    case TCGETS2: *static_cast<struct termios2*>(argument) = {}; return 0;
    case TCSETS2:
        arbitraryBaudRate = static_cast<struct termios2*>(argument)->c_ospeed;
        controlFlags = static_cast<struct termios2*>(argument)->c_cflag;
        return 0;
    case TIOCGSERIAL: *static_cast<serial_struct*>(argument) = driverWith(driverFlags); return 0;
    case TIOCSSERIAL: {
        if (!takesLowLatency) return -EPERM;
        const serial_struct& told = *static_cast<serial_struct*>(argument);
        lowLatency = (told.flags & static_cast<int>(ASYNC_LOW_LATENCY)) != 0;
        driverOtherwiseKept = isOtherwiseKept(told, driverFlags);
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
