// A bus device's ioctl that the emulator does not know goes to the rig as a write. Everything else, and a device that
// is not the rig's, is as under the kernel.
#include <cerrno>
#include <climits>
#include <cstdarg>

#include <linux/i2c-dev.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "rig/EmulatedIoctl.h"

namespace {

using busrig::EmulatedIoctl;

bool isForBusDevice(unsigned long command) {
    return _IOC_TYPE(command) == SPI_IOC_MAGIC || _IOC_TYPE(command) == _IOC_TYPE(I2C_SLAVE);
}

int failure(int error) {
    errno = error;
    return -1;
}

int askRig(int device, unsigned long command, void* argument) {
    int result = INT_MIN;
    const EmulatedIoctl call{command, reinterpret_cast<uintptr_t>(argument), reinterpret_cast<uintptr_t>(&result)};
    const ssize_t written = pwrite(device, &call, sizeof call, EmulatedIoctl::offset);
    // Another file may take the bytes, or refuse the offset, but does not answer.
    if (written != static_cast<ssize_t>(sizeof call) || *const_cast<volatile int*>(&result) == INT_MIN)
        return failure(ENOTTY);
    return result < 0 ? failure(-result) : result;
}

} // namespace

extern "C" int ioctl(int device, unsigned long command, ...) noexcept {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const long result = syscall(SYS_ioctl, device, command, argument);
    if (result != -1 || errno != ENOSYS) return static_cast<int>(result);
    return isForBusDevice(command) ? askRig(device, command, argument) : failure(ENOTTY);
}
