#include "PlayedTerminal.h"

#include <cerrno>

// The kernel's own header: <termios.h> has no termios2, and the two cannot stand in one file.
#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <linux/serial.h>

namespace sweep {

PlayedKernel::Answer PlayedTerminal::ioctl(int /*fd*/, unsigned long request, void* argument) {
    switch (request) {
    case TCGETS2: *static_cast<struct termios2*>(argument) = {}; return 0;
    case TCSETS2: arbitraryBaudRate = static_cast<struct termios2*>(argument)->c_ospeed; return 0;
    case TIOCGSERIAL: *static_cast<serial_struct*>(argument) = {}; return 0;
    case TIOCSSERIAL:
        if (!takesLowLatency) return -EPERM;
        lowLatency = (static_cast<serial_struct*>(argument)->flags & static_cast<int>(ASYNC_LOW_LATENCY)) != 0;
        return 0;
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
