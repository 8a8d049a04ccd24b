#include "KernelFiles.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <rig/RigState.h>

using descriptor::Descriptor;

namespace kernelrig {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void restoreSpi(const std::string& path) {
    const Descriptor device(
        ::open(path.c_str(), O_RDWR | O_CLOEXEC)); // its closing, when it is the last, sets the speed
    if (!device) fail(path);
    const uint32_t mode = 0;
    const uint8_t bits = 8;
    if (::ioctl(device.get(), SPI_IOC_WR_MODE32, &mode) != 0) fail(path);
    if (::ioctl(device.get(), SPI_IOC_WR_BITS_PER_WORD, &bits) != 0) fail(path);
}

} // namespace

KernelFiles::KernelFiles() : pins(::open("/dev/riggpio", O_WRONLY | O_CLOEXEC)) {
    if (!pins) fail("/dev/riggpio");
}

void KernelFiles::setLevel(int line, bool high) {
    tell(std::to_string(line) + (high ? " 1" : " 0"));
}

void KernelFiles::unexport(int line) {
    const std::string path = "/sys/class/gpio/unexport";
    const Descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (!file) fail(path);
    const std::string text = std::to_string(line);
    if (::write(file.get(), text.data(), text.size()) < 0 && errno != EINVAL) fail(path); // EINVAL: it is not exported
}

void KernelFiles::setController(bool there) {
    tell(there ? "add" : "remove");
}

void KernelFiles::restore() {
    tell("inputs");
    for (const busrig::Board& board : busrig::boards) restoreSpi(std::string("/dev/") + board.spiDevice);
}

void KernelFiles::tell(const std::string& command) const {
    if (::write(pins.get(), command.data(), command.size()) < 0) fail("/dev/riggpio <- " + command);
}

} // namespace kernelrig
