#include "SysfsLine.h"

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "SysfsSetUp.h"
#include "hostlink/link/LinkLogger.h"

using descriptor::Descriptor;
using descriptor::repeatInterrupted;

namespace {

constexpr auto gpioFolder = "/sys/class/gpio/";
constexpr int writeFlags = O_WRONLY | O_TRUNC;

std::string lineFile(int number, const char* name) {
    return std::string(gpioFolder) + "gpio" + std::to_string(number) + "/" + name;
}

Descriptor openFile(const std::string& path, int flags) {
    return Descriptor(repeatInterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC); }));
}

// 0 or an errno value. An attribute takes its value whole, so a part of it is none.
int writeValue(const Descriptor& file, const std::string& text) {
    const ssize_t written = repeatInterrupted([&] { return ::write(file.get(), text.data(), text.size()); });
    if (written < 0) return errno;
    return written == static_cast<ssize_t>(text.size()) ? 0 : EIO;
}

// The files of a line that has just been exported belong to root until udev has changed their group, which takes a
// moment. So a file that may not be opened is tried again for a while: for all files of a line together.
class PatientOpening {
public:
    Descriptor open(const std::string& path, int flags) {
        for (;; --retriesLeft) {
            Descriptor file = openFile(path, flags);
            if (file || errno != EACCES || retriesLeft == 0) return file;
            std::this_thread::sleep_for(interval);
        }
    }

private:
    static constexpr std::chrono::milliseconds interval{10};
    int retriesLeft = 100; // one second
};

// Takes the descriptor that opening the file gave, with errno.
SysfsSetUp::Step writeAndClose(Descriptor file, const std::string& path, const std::string& text) {
    if (!file) return {errno, 0};
    const int error = writeValue(file, text);
    file.reset();
    if (error != 0) {
        LOG4CPLUS_DEBUG(logger, "Writing " << text << " to " << path << ": " << std::generic_category().message(error));
    }
    return {0, error};
}

// Each step counts as failed only when its file cannot be opened: the short lines are those that programs look for.
// Why, and what it means for the link, is told in one line behind them.

SysfsSetUp::Step exportLine(int number) {
    const std::string path = std::string(gpioFolder) + "export";
    const SysfsSetUp::Step step = writeAndClose(openFile(path, writeFlags), path, std::to_string(number));
    if (step.opening != 0) LOG4CPLUS_ERROR(logger, "Gpio export failed: " << number);
    return step;
}

SysfsSetUp::Step makeInput(int number, PatientOpening& opening) {
    const std::string path = lineFile(number, "direction");
    const SysfsSetUp::Step step = writeAndClose(opening.open(path, writeFlags), path, "in");
    if (step.opening != 0) LOG4CPLUS_ERROR(logger, "Gpio direction failed: " << number);
    return step;
}

SysfsSetUp::Step reportFallingEdges(int number, PatientOpening& opening) {
    const std::string path = lineFile(number, "edge");
    const SysfsSetUp::Step step = writeAndClose(opening.open(path, writeFlags), path, "falling");
    if (step.opening != 0) LOG4CPLUS_ERROR(logger, "Gpio edge failed: " << number);
    return step;
}

// Whoever may not write the file may read it.
bool fallingEdgesAreReported(int number) {
    const Descriptor file = openFile(lineFile(number, "edge"), O_RDONLY);
    char text[8] = {};
    if (!file || repeatInterrupted([&] { return ::read(file.get(), text, sizeof text - 1); }) <= 0) return false;
    const std::string edge = text;
    return edge == "falling" || edge == "both\n";
}

} // namespace

bool SysfsLine::open() {
    SysfsSetUp setUp;
    setUp.exporting = exportLine(number);
    PatientOpening opening;
    setUp.direction = makeInput(number, opening);
    setUp.edge = reportFallingEdges(number, opening);
    value = opening.open(lineFile(number, "value"), O_RDONLY);
    if (!value) {
        setUp.value = errno;
        LOG4CPLUS_ERROR(logger, "Open failed: " << number);
    } else if (setUp.edge.failed()) {
        setUp.edgeIsSet = fallingEdgesAreReported(number);
    }
    const std::string explanation = setUp.explanation(number);
    if (!explanation.empty()) LOG4CPLUS_WARN(logger, explanation);
    return static_cast<bool>(value);
}

InterruptLine::Wait SysfsLine::beforeWait() {
    ::lseek(value.get(), 0, SEEK_SET);
    return {value.get(), POLLPRI, -1};
}

InterruptLine::Seen SysfsLine::afterWait(short reported) {
    constexpr short gone = POLLERR | POLLHUP | POLLNVAL;
    char content[4] = {};
    if (::read(value.get(), content, sizeof content) < 0) {
        if (errno == EINTR) return {true, 0};
        LOG4CPLUS_ERROR(logger, "read error!");
        return {false, 0};
    }
    const bool urgent = (reported & POLLPRI) != 0;
    if (!urgent && (reported & gone) != 0) {
        // Not a line at all: it would report this for ever.
        LOG4CPLUS_ERROR(logger, "poll failed");
        return {false, 0};
    }
    if (!urgent || content[0] != '0') return {true, 0};
    LOG4CPLUS_TRACE(logger, "IRQ GPIO falling edge (rdbuf = " << content[0] << ")");
    return {true, 1};
}

// Through a descriptor of its own: reading through the watcher's would take its event back.
bool SysfsLine::isLow() {
    const Descriptor file = openFile(lineFile(number, "value"), O_RDONLY);
    char level = 0;
    return file && ::read(file.get(), &level, 1) == 1 && level == '0';
}

void SysfsLine::close() {
    value.reset();
}
