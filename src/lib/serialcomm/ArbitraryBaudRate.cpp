// A source of its own, because the kernel's and the C library's terminal headers define the same names.
#include "ArbitraryBaudRate.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <sys/ioctl.h>

#include "Descriptor.h"

namespace serialcomm {

bool setArbitraryBaudRate(int fd, unsigned bitsPerSecond) {
    struct termios2 line {};
    if (::ioctl(fd, TCGETS2, &line) != 0) return false;
    // The input rate has its own code, IBSHIFT bits up; code 0 there means "as the output", and BOTHER names it
    // outright.
    line.c_cflag &= ~static_cast<tcflag_t>(CBAUD | (CBAUD << IBSHIFT));
    line.c_cflag |= BOTHER | (BOTHER << IBSHIFT);
    line.c_ispeed = bitsPerSecond;
    line.c_ospeed = bitsPerSecond;
    return repeatInterrupted([&] { return ::ioctl(fd, TCSETS2, &line); }) == 0;
}

} // namespace serialcomm
