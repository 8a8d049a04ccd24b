#include "KernelFiles.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <rig/RigState.h>

namespace kernelrig {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void restoreSpi(const std::string& path) {
    const int device = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (device < 0) fail(path);
    const uint32_t mode = 0;
    const uint8_t bits = 8;
    const bool done =
        ::ioctl(device, SPI_IOC_WR_MODE32, &mode) == 0 && ::ioctl(device, SPI_IOC_WR_BITS_PER_WORD, &bits) == 0;
    const int reason = errno;
    ::close(device); // which sets the speed, when it was the last
    errno = reason;
    if (!done) fail(path);
}

} // namespace

KernelFiles::KernelFiles() : pins(::open("/dev/riggpio", O_WRONLY | O_CLOEXEC)) {
    if (pins < 0) fail("/dev/riggpio");
}

KernelFiles::~KernelFiles() {
    ::close(pins);
}

void KernelFiles::setLevel(int line, bool high) {
    tell(std::to_string(line) + (high ? " 1" : " 0"));
}

void KernelFiles::unexport(int line) {
    const std::string path = "/sys/class/gpio/unexport";
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) fail(path);
    const std::string text = std::to_string(line);
    const bool done = ::write(file, text.data(), text.size()) >= 0 || errno == EINVAL; // EINVAL: it is not exported
    const int reason = errno;
    ::close(file);
    errno = reason;
    if (!done) fail(path);
}

void KernelFiles::setController(bool there) {
    tell(there ? "add" : "remove");
}

void KernelFiles::restore() {
    tell("inputs");
    for (const busrig::Board& board : busrig::boards) restoreSpi(std::string("/dev/") + board.spiDevice);
}

void KernelFiles::tell(const std::string& command) const {
    if (::write(pins, command.data(), command.size()) < 0) fail("/dev/riggpio <- " + command);
}

} // namespace kernelrig
