// Threads: the owner's (construction, init, destruction), one reader in `read`, one writer in `write`.
//
//     owner   ---- init ---------- [uartEnd: close the gate, wait] ~Uart: the same, close --->
//     reader            ---- read [poll port + wake] ----|  leaves with the error flag
//     writer            ---- write [poll port + wake] ---|  leaves with false
//
// The gate opens when `port` stands and is empty again before it goes, so the calls use `port` without a lock.
#include "Uart.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "Descriptor.h"
#include "DeviceFile.h"
#include "LineSettings.h"
#include "OtherUsers.h"
#include "OutputQueue.h"
#include "SerialLog.h"
#include "Tapped.h"
#include "UartEnding.h"
#include "UartOutput.h"
#include "WakeableGate.h"

using std::chrono::milliseconds;
using std::chrono::steady_clock;

using namespace serialcomm;

namespace {

// The line discipline buffers 4096 bytes (N_TTY_BUF_SIZE), more never come in one read.
constexpr std::size_t readChunk = 4096;

constexpr std::chrono::seconds writePatience{2};
// How often a waiting writer looks whether bytes leave: it notices a far side that stops so much later.
constexpr milliseconds lookInterval{500};

constexpr short lineGone = POLLERR | POLLHUP | POLLNVAL;

using Deadline = std::optional<steady_clock::time_point>;

int pollTimeout(const Deadline& deadline) {
    if (!deadline) return -1;
    const auto left = std::chrono::ceil<milliseconds>(*deadline - steady_clock::now()).count();
    return static_cast<int>(std::clamp<milliseconds::rep>(left, 0, std::numeric_limits<int>::max()));
}

// The mark of exclusive use belongs to the terminal: it stays behind a killed program while others have that open.
std::string inUseOrMarked(const std::string& path) {
    return "is in use by another program (sudo fuser -v " + path +
           " names it), or marked so by one that was killed (as root, perl -e 'ioctl STDIN, 0x540D, 0' < " + path +
           " clears the mark)";
}

// Keeps out whoever asks for the lock too, this process included; TIOCEXCL below keeps out those who do not ask, unless
// they are privileged.
bool lockPort(int fd, bool exclusive, const std::string& device) {
    const int operation = (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
    if (repeatInterrupted([&] { return ::flock(fd, operation); }) == 0) return true;
    const int error = errno;
    if (error == EWOULDBLOCK) {
        logError(device, "is in use by another program");
    } else {
        logSystemError(device, "cannot lock", error);
    }
    return false;
}

bool flushStaleInput(int fd, const std::string& device) {
    if (repeatInterrupted([&] { return ::tcflush(fd, TCIFLUSH); }) == 0) return true;
    logSystemError(device, "cannot flush old input", errno);
    return false;
}

bool closeToOthers(int fd, const std::string& device) {
    if (repeatInterrupted([&] { return ::ioctl(fd, TIOCEXCL); }) == 0) return true;
    logSystemError(device, "cannot take exclusive use", errno);
    return false;
}

enum class Wait { Ready, Gone, Stopped, TimedOut, Failed };

} // namespace

struct Uart::Impl {
    Impl(const std::string& portPath, const LineSettings& line, bool alone)
        : path(portPath),
          device("Uart " + portPath),
          settings(line),
          exclusive(alone),
          tapped("uart", portPath, std::to_string(line.baudRate) + " baud") {}
    ~Impl();
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    bool init();
    ByteArray read(std::size_t size, bool* error);
    bool write(const ByteArray& data);
    void end();

    // Only what belongs to the class may spell the name of this structure and of the member that holds it. The
    // functions do so by standing here; nobody in this library calls them, yet others find them.
    [[gnu::used, gnu::visibility("default")]] friend void uartEnd(Uart& uart) { of(uart).end(); }
    [[gnu::used, gnu::visibility("default")]] friend int uartQueuedOutput(Uart& uart) {
        return of(uart).queuedOutput();
    }
    [[gnu::used, gnu::visibility("default")]] friend void uartDropOutput(Uart& uart) { of(uart).dropOutput(); }

private:
    static Impl& of(Uart& port) { return *port.impl; }
    int queuedOutput();
    void dropOutput();
    Wait waitFor(short events, const Deadline& deadline) const;
    bool waitUntilTakes(OutputProgress* progress, bool isLastTry);
    bool hasPortAlone() const;
    bool reportNotOpen(const char* what) const;
    void reportLost(std::string_view why);

    const std::string path;
    const std::string device; // how log lines name this port
    const LineSettings settings;
    const bool exclusive;
    const Tapped tapped;
    WakeableGate gate;                 // lets calls use port
    FoundLine found{};                 // as the port was before init
    Descriptor port;                   // set by init before the gate opens, closed after that is closed
    bool endsCutOff = false;           // the last bytes are the head of a packet; the writer's until the gate is closed
    std::atomic<bool> ended{false};    // who is refused by the end needs no line that says so
    std::atomic<bool> lossTold{false}; // a caller that goes on reading a lost line shall not fill the log
};

void Uart::Impl::end() {
    ended = true;
    gate.closeAndWait();
}

Uart::Impl::~Impl() {
    end();
    if (!port) return;
    drain(port.get(), settings, endsCutOff);
    // Flow control goes with the settings: bytes that a driver keeps through a flush and holds back for the far side's
    // CTS keep the close waiting too, for 30 s as a rule.
    if (hasPortAlone()) restoreLine(port.get(), settings, found);
    // The mark belongs to the terminal, not to this descriptor; it would outlive us while someone else has it open.
    if (exclusive) ::ioctl(port.get(), TIOCNXCL);
}

bool Uart::Impl::init() {
    if (ended) {
        logError(device, "has been ended; make another object to open it again");
        return false;
    }
    if (port) {
        logError(device, "is open already; make another object to open it again");
        return false;
    }
    if (!checkLineSettings(settings, device)) return false;
    Descriptor wakeEvent = WakeableGate::makeWakeEvent();
    if (!wakeEvent) {
        logSystemError(device, "cannot create an event descriptor", errno);
        return false;
    }
    // Opening with O_NONBLOCK also keeps the system from waiting for a carrier.
    Descriptor opened = openDeviceFile(path, O_NOCTTY | O_NONBLOCK, device, &inUseOrMarked);
    if (!opened || !lockPort(opened.get(), exclusive, device) || !readLine(opened.get(), &found, device)) return false;
    // Exclusive use comes last: it marks the terminal, which a step that fails after it would have to undo.
    if (!applyLineSettings(opened.get(), settings, &found, device) || !flushStaleInput(opened.get(), device) ||
        (exclusive && !closeToOthers(opened.get(), device))) {
        restoreLine(opened.get(), settings, found);
        return false;
    }
    if (exclusive) warnOfOtherUsers(opened.get(), device);
    port = std::move(opened);
    gate.open(std::move(wakeEvent));
    return true;
}

// Who shares the port with another `Uart` leaves the settings to that: they are its own too, and the last close is the
// one that waits for flow control.
bool Uart::Impl::hasPortAlone() const {
    return exclusive || repeatInterrupted([&] { return ::flock(port.get(), LOCK_EX | LOCK_NB); }) == 0;
}

Wait Uart::Impl::waitFor(short events, const Deadline& deadline) const {
    std::array<pollfd, 2> entries{{{port.get(), events, 0}, {gate.wakeDescriptor(), POLLIN, 0}}};
    const int count = repeatInterrupted([&] { return ::poll(entries.data(), entries.size(), pollTimeout(deadline)); });
    if (count < 0) return Wait::Failed;
    if (entries[1].revents != 0) return Wait::Stopped;
    if ((entries[0].revents & lineGone) != 0) return Wait::Gone;
    return count == 0 ? Wait::TimedOut : Wait::Ready;
}

bool Uart::Impl::reportNotOpen(const char* what) const {
    if (!ended) logError(device, std::string("cannot ") + what + ": the port is not open");
    return false;
}

void Uart::Impl::reportLost(std::string_view why) {
    if (!lossTold.exchange(true)) logError(device, "line lost: " + std::string(why));
}

ByteArray Uart::Impl::read(std::size_t size, bool* error) {
    const auto fail = [&] {
        *error = true;
        return ByteArray();
    };
    const WakeableGate::Pass pass(gate);
    if (!pass) {
        reportNotOpen("read");
        return fail();
    }
    ByteArray data(std::min(size, readChunk));
    for (;;) {
        const Wait state = waitFor(POLLIN, std::nullopt);
        if (state == Wait::Stopped) return fail();
        if (state == Wait::Failed) {
            logSystemError(device, "cannot wait for input", errno);
            return fail();
        }
        // Also when the line is gone: what came before may still be there, and else the answer is the reason.
        const ssize_t count = repeatInterrupted([&] { return ::read(port.get(), data.data(), data.size()); });
        if (count > 0) {
            data.resize(static_cast<std::size_t>(count));
            tapped.read(data);
            return data;
        }
        const bool nothingYet = count < 0 && errno == EAGAIN;
        if (nothingYet && state != Wait::Gone) continue;
        reportLost(count == 0 || nothingYet ? "the far side hung up" : errorText(errno));
        return fail();
    }
}

// False, after a line where there is something to tell, when the port will not take another byte. True also when it has
// not announced room: it may take a byte all the same.
// isLastTry: it has been tried since the patience was over. A process that stood still may not have looked for so long.
bool Uart::Impl::waitUntilTakes(OutputProgress* progress, bool isLastTry) {
    progress->look(port.get());
    if (isLastTry && progress->isStuck()) {
        logError(device, "cannot write: the far side has taken nothing for 2 s");
        return false;
    }
    switch (waitFor(POLLOUT, progress->nextLook(lookInterval))) {
    case Wait::Ready:
    case Wait::TimedOut: return true;
    case Wait::Gone: logError(device, "cannot write: the far side hung up"); break;
    case Wait::Failed: logSystemError(device, "cannot wait for room to write", errno); break;
    case Wait::Stopped: break;
    }
    return false;
}

bool Uart::Impl::write(const ByteArray& data) {
    const WakeableGate::Pass pass(gate);
    if (!pass) return reportNotOpen("write");
    tapped.written(data);
    OutputProgress progress(writePatience);
    std::size_t sent = 0;
    bool isLastTry = false;
    while (sent < data.size()) {
        const ssize_t count =
            repeatInterrupted([&] { return ::write(port.get(), data.data() + sent, data.size() - sent); });
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
            endsCutOff = sent < data.size();
            progress.moved();
        } else if (count < 0 && errno != EAGAIN) {
            logSystemError(device, "cannot write", errno);
            tapped.failed();
            return false;
        } else if (!waitUntilTakes(&progress, isLastTry)) {
            tapped.failed();
            return false;
        } else {
            isLastTry = progress.isStuck();
        }
    }
    return true;
}

int Uart::Impl::queuedOutput() {
    const WakeableGate::Pass pass(gate);
    return pass ? outputIn(port.get()).value_or(0) : 0;
}

void Uart::Impl::dropOutput() {
    const WakeableGate::Pass pass(gate);
    if (pass) ::tcflush(port.get(), TCOFLUSH);
}

Uart::Uart(const std::string& path, int baudRate, int options, const std::string& parity, bool exclusive)
    : impl(std::make_unique<Impl>(path, LineSettings{baudRate, options, parity}, exclusive)) {}

Uart::~Uart() = default;

bool Uart::init() {
    return impl->init();
}

ByteArray Uart::read(unsigned long size, bool* error) {
    if (size == 0) return {};
    return impl->read(size, error);
}

bool Uart::write(const ByteArray& data) {
    if (data.empty()) return true;
    return impl->write(data);
}
