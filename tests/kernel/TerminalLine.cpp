#include "TerminalLine.h"

#include <cerrno>
#include <system_error>

#include <asm/termbits.h>
#include <fcntl.h>
#include <linux/serial.h>
#include <linux/tty_flags.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int loop = 0x8000; // TIOCM_LOOP, which the C library's headers leave out

void check(int result, const char* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
}

termios2 settingsOf(int fd) {
    termios2 line{};
    check(::ioctl(fd, TCGETS2, &line), "TCGETS2");
    return line;
}

std::string parityOf(const termios2& line) {
    if ((line.c_cflag & PARENB) == 0) return "none";
    return (line.c_cflag & PARODD) != 0 ? "odd" : "even";
}

} // namespace

TerminalLine::TerminalLine(const std::string& path)
    : fd(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    check(fd, path.c_str());
}

TerminalLine::~TerminalLine() {
    ::close(fd);
}

std::string TerminalLine::settings() const {
    const termios2 line = settingsOf(fd);
    std::string text = std::to_string(line.c_ospeed) + " " + parityOf(line);
    text += (line.c_cflag & CSTOPB) != 0 ? " 2" : " 1";
    if ((line.c_cflag & CRTSCTS) != 0) text += " rtscts";
    return text;
}

bool TerminalLine::isLowLatency() const {
    serial_struct driver{};
    check(::ioctl(fd, TIOCGSERIAL, &driver), "TIOCGSERIAL");
    return (driver.flags & ASYNC_LOW_LATENCY) != 0;
}

void TerminalLine::hangUp() const {
    check(::ioctl(fd, TIOCVHANGUP), "TIOCVHANGUP");
}

// With flow control on the driver moves RTS by itself, so that it is off while the lines are set.
void TerminalLine::loopBack(bool ctsHigh) const {
    termios2 line = settingsOf(fd);
    const tcflag_t wanted = line.c_cflag;
    line.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    check(::ioctl(fd, TCSETS2, &line), "TCSETS2");
    setModemLines(loop | TIOCM_DTR | (ctsHigh ? TIOCM_RTS : 0));
    line.c_cflag = wanted;
    check(::ioctl(fd, TCSETS2, &line), "TCSETS2");
}

void TerminalLine::endLoopBack() const {
    setModemLines(TIOCM_DTR | TIOCM_RTS);
}

void TerminalLine::setModemLines(int lines) const {
    check(::ioctl(fd, TIOCMSET, &lines), "TIOCMSET");
}
