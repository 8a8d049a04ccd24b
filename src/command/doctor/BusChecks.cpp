// I2C buses and SPI devices.
#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>

#include <descriptor/Descriptor.h>

#include "DeviceChecks.h"
#include "Files.h"
#include "WireChecks.h"

namespace command {

namespace {

using descriptor::Descriptor;
using descriptor::repeatInterrupted;

// The I2C bus specification keeps the others for itself.
constexpr int firstDevice = 0x03;
constexpr int lastDevice = 0x77;
constexpr long usualBuffer = 4096; // of spidev, unless its parameter says otherwise
constexpr const char* bufferFile = "/sys/module/spidev/parameters/bufsiz";

Descriptor openToAsk(const std::string& path, Findings& findings) {
    Descriptor device(repeatInterrupted([&] { return ::open(path.c_str(), O_RDWR | O_CLOEXEC); }));
    if (!device) {
        const int error = errno;
        findings.bad("opening", "cannot be opened: " + std::generic_category().message(error), "sudo fuser -v " + path);
    }
    return device;
}

std::string twoDigits(int address) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%02x", static_cast<unsigned>(address));
    return text;
}

// "1" of "/dev/i2c-1"; empty for another name.
std::string busNumber(const std::string& path) {
    const std::string name = baseName(path);
    return name.compare(0, 4, "i2c-") == 0 ? name.substr(4) : "";
}

// Whether the bus does plain transfers.
bool doesTransfers(int fd, Findings& findings) {
    unsigned long functions = 0;
    if (::ioctl(fd, I2C_FUNCS, &functions) != 0) {
        findings.bad("kind", "is no I2C bus", "i2cdetect -l   # lists the buses");
        return false;
    }
    if ((functions & I2C_FUNC_I2C) != 0) {
        findings.good("functions", "does plain I2C transfers");
        return true;
    }
    findings.bad("functions", "does SMBus commands only; the link needs plain I2C transfers",
                 "i2cdetect -l   # another bus, or i2c-gpio on two free lines");
    return false;
}

void tellClock(const std::string& folder, Findings& findings) {
    const auto clock = cellIn(folder + "/device/of_node/clock-frequency");
    if (clock) findings.good("speed", "the device tree has it at " + std::to_string(*clock) + " Hz");
}

// Whether no driver of the kernel has the address.
bool isFree(const std::string& bus, int address, Findings& findings) {
    char name[32];
    std::snprintf(name, sizeof name, "%s-%04x", bus.c_str(), static_cast<unsigned>(address));
    const std::string driver = linkName("/sys/bus/i2c/devices/" + std::string(name) + "/driver");
    if (driver.empty()) return true;
    findings.bad("address", "the kernel's driver " + driver + " has " + twoDigits(address),
                 "echo " + std::string(name) + " | sudo tee /sys/bus/i2c/drivers/" + driver + "/unbind");
    return false;
}

// A write without a byte: the address goes over the wire and the host acknowledges it, or not.
int askAddress(int fd, int address) {
    i2c_msg message{static_cast<__u16>(address), 0, 0, nullptr};
    i2c_rdwr_ioctl_data transaction{&message, 1};
    return repeatInterrupted([&] { return ::ioctl(fd, I2C_RDWR, &transaction); }) == 1 ? 0 : errno;
}

void checkAddress(int fd, const std::string& path, int address, Findings& findings) {
    const std::string text = twoDigits(address);
    const std::string look = "i2cdetect -y " + busNumber(path);
    switch (const int error = askAddress(fd, address)) {
    case 0: findings.good("address", text + " is acknowledged"); break;
    case ENXIO:
    case EREMOTEIO:
        findings.bad("address", "nobody acknowledges " + text,
                     look + "   # who is there; the host's power, wiring and pull-ups");
        break;
    case EOPNOTSUPP:
        findings.doubtful("address", text + " is not asked: this controller cannot without sending bytes", look);
        break;
    default:
        findings.bad("address", text + " cannot be asked: " + std::generic_category().message(error),
                     look + "   # a line that is held low, or without pull-up, stops the bus");
    }
}

void askBus(const WireOptions& wire, const DeviceChecks& device, const Holders& holders, Findings& findings) {
    const std::string& path = *wire.i2c;
    const Descriptor bus = openToAsk(path, findings);
    if (!bus || !doesTransfers(bus.get(), findings)) return;
    tellClock(device.folder(), findings);
    if (!wire.address) {
        findings.doubtful("address", "no address is given", "hostlink doctor --i2c " + path + " --address 0x42");
    } else if (*wire.address < firstDevice || *wire.address > lastDevice) {
        findings.bad("address", twoDigits(*wire.address) + " is kept for other purposes: 0x03 to 0x77 are devices",
                     "i2cdetect -y " + busNumber(path));
    } else if (!isFree(busNumber(path), *wire.address, findings)) {
        return;
    } else if (!holders.all.empty()) {
        findings.doubtful("address",
                          twoDigits(*wire.address) + " is not asked while " + holders.print() + " has the bus open",
                          remedyAgainst(holders, path));
    } else {
        checkAddress(bus.get(), path, *wire.address, findings);
    }
}

void checkBuffer(int packetSize, Findings& findings) {
    const auto told = numberIn(bufferFile);
    const long size = told.value_or(usualBuffer);
    const std::string text = "spidev takes " + std::to_string(size) + " bytes at once" +
                             (told ? "" : " (by default; its parameter is not to be seen)") + ", packets have up to " +
                             std::to_string(packetSize);
    if (size >= packetSize)
        findings.good("buffer", text);
    else
        findings.bad("buffer", text,
                     "echo options spidev bufsiz=" + std::to_string(packetSize) +
                         " | sudo tee /etc/modprobe.d/spidev.conf; sudo modprobe -r spidev; sudo modprobe spidev");
}

void checkClock(int fd, long wanted, Findings& findings) {
    __u32 highest = 0;
    if (::ioctl(fd, SPI_IOC_RD_MAX_SPEED_HZ, &highest) != 0) return;
    const std::string text = std::to_string(wanted) + " Hz; the device is declared for " + std::to_string(highest);
    if (wanted <= static_cast<long>(highest))
        findings.good("speed", text);
    else
        findings.doubtful("speed", text,
                          "hostlink doctor --speed " + std::to_string(highest) +
                              "   # or a higher spi-max-frequency in the device tree");
}

void askSpi(const WireOptions& wire, Findings& findings) {
    const Descriptor device = openToAsk(*wire.spi, findings);
    if (!device) return;
    __u8 mode = 0;
    if (::ioctl(device.get(), SPI_IOC_RD_MODE, &mode) != 0) {
        findings.bad("kind", "is no SPI device", "ls -l /dev/spidev*");
        return;
    }
    checkClock(device.get(), wire.speed.value_or(hostlink::Spi{}.speed), findings);
}

} // namespace

void checkI2c(const WireOptions& wire, Findings& findings) {
    findings.lookAt(*wire.i2c);
    DeviceChecks device(findings, *wire.i2c, "i2c");
    if (device.isThere()) {
        const bool allowed = device.mayOpen();
        device.driver();
        const Holders holders = device.holders();
        if (allowed) askBus(wire, device, holders, findings);
    }
    checkLine(wire, findings);
}

void checkSpi(const WireOptions& wire, Findings& findings) {
    findings.lookAt(*wire.spi);
    DeviceChecks device(findings, *wire.spi, "spi");
    if (device.isThere()) {
        const bool allowed = device.mayOpen();
        device.driver();
        device.holders();
        if (allowed) askSpi(wire, findings);
        checkBuffer(wire.packetSize.value_or(hostlink::Spi{}.maxPacketSize), findings);
    }
    checkLine(wire, findings);
}

} // namespace command
