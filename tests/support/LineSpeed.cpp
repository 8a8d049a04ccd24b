// A source of its own, because the kernel's and the C library's terminal headers define the same names.
#include "LineSpeed.h"

#include <cerrno>
#include <system_error>

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <sys/ioctl.h>

LineSpeed lineSpeed(int fd) {
    struct termios2 line {};
    if (::ioctl(fd, TCGETS2, &line) != 0) throw std::system_error(errno, std::generic_category(), "TCGETS2");
    return {line.c_ispeed, line.c_ospeed};
}

void setLineSpeed(int fd, unsigned speed) {
    struct termios2 line {};
    if (::ioctl(fd, TCGETS2, &line) != 0) throw std::system_error(errno, std::generic_category(), "TCGETS2");
    line.c_cflag &= ~tcflag_t{CBAUD | (CBAUD << IBSHIFT)};
    line.c_cflag |= BOTHER | (BOTHER << IBSHIFT);
    line.c_ispeed = line.c_ospeed = speed;
    if (::ioctl(fd, TCSETS2, &line) != 0) throw std::system_error(errno, std::generic_category(), "TCSETS2");
}
