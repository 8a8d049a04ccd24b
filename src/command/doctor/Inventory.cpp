// What the machine offers.
#include "Chips.h"
#include "DeviceChecks.h"
#include "Files.h"
#include "WireChecks.h"

namespace command {

namespace {

// One finding a device. Not being allowed to open it is no failure here: nobody has asked for it.
void tellDevice(const std::string& what, const std::string& name, const std::string& group, const std::string& more,
                Findings& findings) {
    const std::string path = "/dev/" + name;
    findings.lookAt(path);
    const DeviceChecks device(findings, path, group);
    if (!exists(path)) {
        findings.doubtful(what, "the kernel has it, and there is no device file", "sudo udevadm trigger");
        return;
    }
    const Holders holders = holdersOf(path);
    const std::string driver = device.driverName();
    const std::string text = (driver.empty() ? "" : "driver " + driver + ", ") + device.ownership() +
                             (more.empty() ? "" : ", " + more) +
                             (holders.all.empty() ? "" : ", open in " + holders.print());
    if (device.isAllowed())
        findings.good(what, text);
    else
        findings.doubtful(what, text + "; you may not open it", device.remedyForAccess());
}

void tellNone(const std::string& what, const std::string& remedy, Findings& findings) {
    findings.lookAt("/dev");
    findings.good(what, "none", remedy);
}

void listPorts(Findings& findings) {
    bool any = false;
    for (const std::string& name : namesIn("/sys/class/tty")) {
        const std::string folder = std::string("/sys/class/tty/").append(name);
        if (!exists(folder + "/device") || numberIn(folder + "/type") == 0) continue; // none behind it
        any = true;
        tellDevice("serial", name, "dialout", firstLine(folder + "/console") == "Y" ? "a console of the kernel" : "",
                   findings);
    }
    if (!any) tellNone("serial", "sudo dmesg | grep tty   # what the drivers have found", findings);
}

void listClass(const std::string& folder, const std::string& what, const std::string& remedy, Findings& findings) {
    const auto names = namesIn(folder);
    for (const std::string& name : names)
        tellDevice(what, name, what,
                   firstLine(std::string(folder).append("/").append(name).append("/name")).value_or(""), findings);
    if (names.empty()) tellNone(what, remedy, findings);
}

void listLines(Findings& findings) {
    const auto names = namesIn("/sys/bus/gpio/devices", "gpiochip");
    for (const std::string& name : names) {
        const auto chip = chipInfo("/dev/" + name);
        tellDevice("gpio", name, "gpio", chip ? chip->label + ", " + std::to_string(chip->lines) + " lines" : "",
                   findings);
    }
    if (names.empty()) tellNone("gpio", "sudo dmesg | grep -i gpio   # what the drivers have found", findings);
    for (const SysfsChip& chip : sysfsChips()) {
        findings.lookAt(chip.folder);
        findings.good("base", chip.print());
    }
}

} // namespace

void listDevices(Findings& findings) {
    listPorts(findings);
    listClass("/sys/class/i2c-dev", "i2c", remedyForMissing("/dev/i2c-"), findings);
    listClass("/sys/class/spidev", "spi", remedyForMissing("/dev/spidev"), findings);
    listLines(findings);
}

} // namespace command
