// A serial port.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <system_error>

#include <asm/termbits.h> // termios2: the speed in bits per second; not together with <termios.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <descriptor/Descriptor.h>

#include "DeviceChecks.h"
#include "Files.h"
#include "WireChecks.h"

namespace command {

namespace {

using descriptor::Descriptor;
using descriptor::repeatInterrupted;

constexpr double tolerable = 0.02; // a byte's last bit is still sampled within itself; the library refuses more, too
constexpr long samplesPerBit = 16; // of a 16550 and its kin

std::string remedyForConsole(const std::string& path) {
    return "sudo systemctl disable --now serial-getty@" + baseName(path) +
           ".service   # and console= off the kernel's command line";
}

void checkConsole(const std::string& folder, const std::string& path, Findings& findings) {
    if (firstLine(folder + "/console") != "Y") return;
    findings.doubtful("console", "is a console of the kernel: the host gets its messages", remedyForConsole(path));
}

bool isBehind(const std::string& folder, Findings& findings) {
    if (numberIn(folder + "/type") != 0) return true;
    findings.bad("port", "the driver has found no port behind it",
                 "hostlink doctor   # lists the ports that there are");
    return false;
}

// The driver divides its clock by a whole number.
void checkDivisor(long clock, long baud, Findings& findings) {
    const long divisor =
        std::max(1L, std::lround(static_cast<double>(clock) / static_cast<double>(samplesPerBit * baud)));
    const long real = clock / (samplesPerBit * divisor);
    const double off = std::fabs(static_cast<double>(real - baud)) / static_cast<double>(baud);
    char text[128];
    std::snprintf(text, sizeof text, "%ld baud are %ld on the wire, %.1f %% off (clock %ld Hz)", baud, real, 100 * off,
                  clock);
    if (off <= tolerable)
        findings.good("speed", text);
    else
        findings.bad("speed", text, "hostlink doctor --baud " + std::to_string(real) + "   # and the host at that too");
}

void checkLatency(const std::string& folder, Findings& findings) {
    const std::string file = folder + "/device/latency_timer";
    const auto milliseconds = numberIn(file);
    if (!milliseconds) return;
    const std::string text = "the adapter holds bytes back for " + std::to_string(*milliseconds) + " ms";
    if (*milliseconds <= 1)
        findings.good("latency", text);
    else
        findings.doubtful("latency", text, "echo 1 | sudo tee " + file);
}

void checkExclusive(int fd, const Holders& holders, const std::string& path, Findings& findings) {
    int exclusive = 0;
    if (::ioctl(fd, TIOCGEXCL, &exclusive) != 0) return;
    if (exclusive == 0) {
        findings.good("exclusive", "nobody has it for exclusive use");
    } else if (!holders.all.empty()) {
        findings.bad("exclusive", "in exclusive use by " + holders.print(), remedyAgainst(holders, path));
    } else {
        findings.bad("exclusive", "marked for exclusive use, by a program that was killed or is not to be seen",
                     "sudo sh -c \"python3 -c 'import fcntl; fcntl.ioctl(0, 0x540D)' < " + path + "\"");
    }
}

void tellSettings(int fd, Findings& findings) {
    termios2 settings{};
    if (::ioctl(fd, TCGETS2, &settings) != 0) return;
    const bool parity = (settings.c_cflag & PARENB) != 0;
    const char* name = !parity ? "none" : (settings.c_cflag & PARODD) != 0 ? "odd" : "even";
    findings.good("settings", "at present " + std::to_string(settings.c_ospeed) + " baud, parity " + name +
                                  "; the link sets its own");
}

void ask(const std::string& path, const Holders& holders, Findings& findings) {
    const Descriptor port(
        repeatInterrupted([&] { return ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); }));
    if (!port) {
        const int error = errno;
        const std::string remedy =
            error == EBUSY && !holders.all.empty() ? remedyAgainst(holders, path) : "sudo fuser -v " + path;
        findings.bad(error == EBUSY ? "exclusive" : "opening",
                     error == EBUSY ? "in exclusive use by another program"
                                    : "cannot be opened: " + std::generic_category().message(error),
                     remedy);
        return;
    }
    if (::isatty(port.get()) == 0) {
        findings.bad("kind", "is no serial port", "hostlink doctor   # lists the ports that there are");
        return;
    }
    checkExclusive(port.get(), holders, path, findings);
    tellSettings(port.get(), findings);
}

} // namespace

void checkPort(const WireOptions& wire, Findings& findings) {
    const std::string& path = *wire.uart;
    findings.lookAt(path);
    DeviceChecks device(findings, path, "dialout");
    if (!device.isThere()) return;
    const bool allowed = device.mayOpen();
    device.driver();
    const Holders holders = device.holders();
    const std::string folder = device.folder();
    const bool usable = isBehind(folder, findings);
    checkConsole(folder, path, findings);
    const auto clock = numberIn(folder + "/uartclk");
    if (clock.value_or(0) > 0) checkDivisor(*clock, wire.baud.value_or(hostlink::Uart{}.baud), findings);
    checkLatency(folder, findings);
    if (allowed && usable) ask(path, holders, findings);
}

} // namespace command
