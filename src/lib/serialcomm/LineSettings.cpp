// The kernel's own terminal structures instead of <termios.h>, for two reasons. Only they can name any baud rate
// (termios2 with BOTHER). And tcsetattr of some C libraries compares afterwards and fails with EINVAL when nothing it
// asked for was done, which happens to whoever asks a pseudo terminal for parity: it drops that silently.
#include "LineSettings.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <iterator>

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <linux/serial.h>
#include <sys/ioctl.h>

#include "Descriptor.h"
#include "SerialLog.h"

namespace serialcomm {

namespace {

constexpr int knownOptions = TwoStopBits | RtsCtsFlowControl | LowLatency;

struct BaudRate {
    int bitsPerSecond;
    tcflag_t code;
};

constexpr std::array<BaudRate, 30> standardBaudRates{{
    {50, B50},           {75, B75},           {110, B110},         {134, B134},         {150, B150},
    {200, B200},         {300, B300},         {600, B600},         {1200, B1200},       {1800, B1800},
    {2400, B2400},       {4800, B4800},       {9600, B9600},       {19200, B19200},     {38400, B38400},
    {57600, B57600},     {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
    {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000}, {1500000, B1500000},
    {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000}, {3500000, B3500000}, {4000000, B4000000},
}};

const BaudRate* findStandard(int bitsPerSecond) {
    const auto* found = std::find_if(standardBaudRates.begin(), standardBaudRates.end(),
                                     [&](const BaudRate& rate) { return rate.bitsPerSecond == bitsPerSecond; });
    return found == standardBaudRates.end() ? nullptr : found;
}

tcflag_t controlFlags(const LineSettings& settings) {
    tcflag_t flags = CS8 | CREAD | CLOCAL; // CLOCAL: no carrier needed, a host's line has none
    if (settings.parity == "even") flags |= PARENB;
    if (settings.parity == "odd") flags |= PARENB | PARODD;
    if ((settings.options & TwoStopBits) != 0) flags |= CSTOPB;
    if ((settings.options & RtsCtsFlowControl) != 0) flags |= CRTSCTS;
    return flags;
}

// Every byte value passes as it is, in both directions, and a break is none. With parity, INPCK without IGNPAR makes a
// damaged byte arrive as 0: the packet keeps its length, so its check fails at once instead of the reader waiting for a
// byte that never comes.
template <typename Line> void makeRaw(Line* line, const LineSettings& settings) {
    constexpr tcflag_t keep = HUPCL; // what happens to the modem lines at the end is the system administrator's choice
    line->c_iflag = IGNBRK | (settings.parity == "none" ? 0U : INPCK);
    line->c_oflag = 0;
    line->c_lflag = 0;
    line->c_cflag = (line->c_cflag & keep) | controlFlags(settings);
    line->c_cc[VMIN] = 1;
    line->c_cc[VTIME] = 0;
}

bool set(int fd, unsigned long request, const void* line, const LineSettings& settings, const std::string& device) {
    if (repeatInterrupted([&] { return ::ioctl(fd, request, line); }) == 0) return true;
    const int error = errno;
    logSystemError(device, "cannot set the line to " + std::to_string(settings.baudRate) + " baud", error);
    return false;
}

// 0 or an errno value.
int get(int fd, unsigned long request, void* line) {
    return repeatInterrupted([&] { return ::ioctl(fd, request, line); }) == 0 ? 0 : errno;
}

bool reportUnreadable(int error, const std::string& device) {
    if (error == ENOTTY) {
        logError(device, "not a serial port; give the path of a terminal device such as /dev/ttyS0");
    } else {
        logSystemError(device, "cannot read the line settings", error);
    }
    return false;
}

template <typename Line> void store(const Line& line, FoundLine* found) {
    found->inputFlags = line.c_iflag;
    found->outputFlags = line.c_oflag;
    found->controlFlags = line.c_cflag;
    found->localFlags = line.c_lflag;
    found->discipline = line.c_line;
    std::copy(std::begin(line.c_cc), std::end(line.c_cc), found->characters.begin());
}

template <typename Line> Line load(const FoundLine& found) {
    Line line{};
    static_assert(sizeof line.c_cc == sizeof found.characters);
    line.c_iflag = found.inputFlags;
    line.c_oflag = found.outputFlags;
    line.c_cflag = found.controlFlags;
    line.c_lflag = found.localFlags;
    line.c_line = found.discipline;
    std::copy(found.characters.begin(), found.characters.end(), std::begin(line.c_cc));
    return line;
}

// The older request, which emulators of other processors know too.
bool setStandardLine(int fd, const BaudRate& rate, const LineSettings& settings, const FoundLine& found,
                     const std::string& device) {
    auto line = load<struct termios>(found);
    makeRaw(&line, settings);
    line.c_cflag |= rate.code; // no separate code for the input: it runs at the same rate
    return set(fd, TCSETS, &line, settings, device);
}

bool setArbitraryLine(int fd, const LineSettings& settings, const FoundLine& found, const std::string& device) {
    auto line = load<struct termios2>(found);
    makeRaw(&line, settings);
    line.c_cflag |= BOTHER | (BOTHER << IBSHIFT); // output and input rate as numbers
    line.c_ospeed = static_cast<speed_t>(settings.baudRate);
    line.c_ispeed = static_cast<speed_t>(settings.baudRate);
    return set(fd, TCSETS2, &line, settings, device);
}

bool setLine(int fd, const LineSettings& settings, const FoundLine& found, const std::string& device) {
    const BaudRate* standard = findStandard(settings.baudRate);
    return standard != nullptr ? setStandardLine(fd, *standard, settings, found, device)
                               : setArbitraryLine(fd, settings, found, device);
}

// Drivers take a speed that they cannot do without an error and set another one: an 8250 keeps the last speed or goes
// to the nearest end of its range, USB adapters go to 9600. What they set is in the settings that they report.
bool hasSpeed(int fd, const LineSettings& settings, const std::string& device) {
    constexpr long long tolerance = 50; // one part in so many; a receiver bears a little more
    struct termios2 line {};
    const int error = get(fd, TCGETS2, &line);
    if (error == ENOTTY) return true; // emulators of other processors do not know it
    if (error != 0) return reportUnreadable(error, device);
    const long long wanted = settings.baudRate;
    if (std::abs(static_cast<long long>(line.c_ospeed) - wanted) * tolerance <= wanted) return true;
    logError(device, "cannot set the line to " + std::to_string(wanted) + " baud: the driver does " +
                         std::to_string(line.c_ospeed) + " instead");
    return false;
}

// Without it a driver may hold received bytes back for some milliseconds; the line works either way.
void requestLowLatency(int fd, FoundLine* found, const std::string& device) {
    serial_struct driver{};
    if (::ioctl(fd, TIOCGSERIAL, &driver) == 0) {
        const bool had = (driver.flags & static_cast<int>(ASYNC_LOW_LATENCY)) != 0;
        driver.flags |= ASYNC_LOW_LATENCY;
        if (::ioctl(fd, TIOCSSERIAL, &driver) == 0) {
            found->lowLatencyAdded = !had;
            return;
        }
    }
    logWarning(device, "the driver does not take the low-latency option: " + errorText(errno));
}

} // namespace

bool checkLineSettings(const LineSettings& settings, const std::string& device) {
    if (settings.baudRate <= 0) {
        logError(device, "baud rate " + std::to_string(settings.baudRate) + " is not possible; give bits per second");
        return false;
    }
    if ((settings.options & ~knownOptions) != 0) {
        logError(device, "options " + std::to_string(settings.options) +
                             " contain an unknown bit; use the sum of 1 (two stop bits), 2 (RTS/CTS), 4 (low latency)");
        return false;
    }
    if (settings.parity != "none" && settings.parity != "even" && settings.parity != "odd") {
        logError(device, "parity \"" + settings.parity + R"(" is not known; use "none", "even" or "odd")");
        return false;
    }
    return true;
}

std::chrono::microseconds timeOnLine(int bytes, const LineSettings& settings) {
    const int parityBits = settings.parity == "none" ? 0 : 1;
    const int stopBits = (settings.options & TwoStopBits) != 0 ? 2 : 1;
    const std::int64_t bits = std::int64_t{bytes} * (1 + 8 + parityBits + stopBits);
    return std::chrono::microseconds(bits * 1000000 / settings.baudRate);
}

bool readLine(int fd, FoundLine* found, const std::string& device) {
    *found = {};
    struct termios2 line {};
    int error = get(fd, TCGETS2, &line);
    if (error == 0) {
        store(line, found);
        found->inputSpeed = line.c_ispeed;
        found->outputSpeed = line.c_ospeed;
        found->hasSpeeds = true;
        return true;
    }
    struct termios older {};
    if (error == ENOTTY) error = get(fd, TCGETS, &older);
    if (error != 0) return reportUnreadable(error, device);
    store(older, found);
    return true;
}

bool applyLineSettings(int fd, const LineSettings& settings, FoundLine* found, const std::string& device) {
    if (!setLine(fd, settings, *found, device) || !hasSpeed(fd, settings, device)) return false;
    if ((settings.options & LowLatency) != 0) requestLowLatency(fd, found, device);
    return true;
}

void restoreLine(int fd, const LineSettings& settings, const FoundLine& found) {
    FoundLine left = found;
    if ((settings.options & RtsCtsFlowControl) != 0) left.controlFlags &= ~static_cast<unsigned>(CRTSCTS);
    auto line = load<struct termios2>(left);
    line.c_ispeed = left.inputSpeed;
    line.c_ospeed = left.outputSpeed;
    const auto older = load<struct termios>(left);
    if (found.hasSpeeds) {
        repeatInterrupted([&] { return ::ioctl(fd, TCSETS2, &line); });
    } else {
        repeatInterrupted([&] { return ::ioctl(fd, TCSETS, &older); });
    }
    serial_struct driver{};
    if (!found.lowLatencyAdded || ::ioctl(fd, TIOCGSERIAL, &driver) != 0) return;
    driver.flags &= ~static_cast<int>(ASYNC_LOW_LATENCY);
    ::ioctl(fd, TIOCSSERIAL, &driver);
}

} // namespace serialcomm
