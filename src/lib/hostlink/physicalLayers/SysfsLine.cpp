#include "SysfsLine.h"

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "hostlink/link/LinkLog.h"

namespace {

log4cplus::Logger& logger = linkLogger();

constexpr auto gpioFolder = "/sys/class/gpio/";
constexpr int writeFlags = O_WRONLY | O_TRUNC;

std::string lineFile(int number, const char* name) {
    return std::string(gpioFolder) + "gpio" + std::to_string(number) + "/" + name;
}

int openFile(const std::string& path, int flags) {
    int fd;
    do {
        fd = ::open(path.c_str(), flags | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// 0 or an errno value. An attribute takes its value whole, so a part of it is none.
int writeValue(int fd, const std::string& text) {
    ssize_t written;
    do {
        written = write(fd, text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0) return errno;
    return written == static_cast<ssize_t>(text.size()) ? 0 : EIO;
}

// The files of a line that has just been exported belong to root until udev has changed their group, which takes a
// moment. So a file that may not be opened is tried again for a while: for all files of a line together.
class PatientOpening {
public:
    int open(const std::string& path, int flags) {
        for (;; --retriesLeft) {
            const int fd = openFile(path, flags);
            if (fd >= 0 || errno != EACCES || retriesLeft == 0) return fd;
            std::this_thread::sleep_for(interval);
        }
    }

private:
    static constexpr std::chrono::milliseconds interval{10};
    int retriesLeft = 100; // one second
};

// How one of the files was written: 0 or an errno value for each of the two steps.
struct Outcome {
    int opening = 0;
    int writing = 0;

    bool failed() const { return opening != 0 || writing != 0; }
    std::string reason() const { return std::generic_category().message(opening != 0 ? opening : writing); }
};

// Takes the descriptor that opening the file gave, with errno.
Outcome writeAndClose(int fd, const std::string& path, const std::string& text) {
    if (fd < 0) return {errno, 0};
    const int error = writeValue(fd, text);
    close(fd);
    if (error != 0) {
        LOG4CPLUS_DEBUG(logger, "Writing " << text << " to " << path << ": " << std::generic_category().message(error));
    }
    return {0, error};
}

// Each step counts as failed only when its file cannot be opened. A value that the kernel refuses is told with what it
// means for the link.

// A line that is exported already is refused, and is there all the same. True when it was refused as busy.
bool exportLine(int number) {
    const std::string path = std::string(gpioFolder) + "export";
    const std::string text = std::to_string(number);
    const Outcome outcome = writeAndClose(openFile(path, writeFlags), path, text);
    if (outcome.opening != 0) {
        LOG4CPLUS_ERROR(logger, "Gpio export failed: " << number);
    } else if (outcome.failed() && outcome.writing != EBUSY) {
        LOG4CPLUS_WARN(logger, "Gpio " << number << ": could not be exported: " << outcome.reason()
                                       << "; unless the line is there already, no interrupts: the host's packets are "
                                          "not read until it is exported and the link started again");
    }
    return outcome.writing == EBUSY;
}

void makeInput(int number, PatientOpening& opening) {
    const std::string path = lineFile(number, "direction");
    const Outcome outcome = writeAndClose(opening.open(path, writeFlags), path, "in");
    if (outcome.opening != 0) {
        LOG4CPLUS_ERROR(logger, "Gpio direction failed: " << number);
        LOG4CPLUS_WARN(logger, "Gpio " << number << ": direction could not be set to in: " << outcome.reason()
                                       << "; harmless where the line is an input already, or its controller has inputs "
                                          "only");
    } else if (outcome.failed()) {
        LOG4CPLUS_WARN(logger, "Gpio " << number << ": direction could not be set to in: " << outcome.reason()
                                       << "; unless the line is an input already, no interrupts: the host's packets "
                                          "are not read until "
                                       << path << " says in");
    }
}

void reportFallingEdges(int number, PatientOpening& opening) {
    const std::string path = lineFile(number, "edge");
    const Outcome outcome = writeAndClose(opening.open(path, writeFlags), path, "falling");
    if (!outcome.failed()) return;
    if (outcome.opening != 0) LOG4CPLUS_ERROR(logger, "Gpio edge failed: " << number);
    if (outcome.opening == ENOENT) {
        LOG4CPLUS_WARN(logger, "Gpio " << number << ": edge could not be set to falling: " << outcome.reason()
                                       << "; the line is not exported, or its controller cannot interrupt: the link is "
                                          "deaf, the host's packets are not read");
        return;
    }
    LOG4CPLUS_WARN(logger, "Gpio " << number << ": edge could not be set to falling: " << outcome.reason()
                                   << "; no interrupts: the host's packets are not read until " << path
                                   << " says falling");
}

// Who has a line that was busy and is not there?
void reportHeld(int number) {
    LOG4CPLUS_WARN(logger, "Gpio " << number
                                   << ": a driver or another program holds the line (gpioinfo names it): it cannot be "
                                      "exported, and the link cannot start until it is free");
}

} // namespace

bool SysfsLine::open() {
    const bool busy = exportLine(number);
    PatientOpening opening;
    makeInput(number, opening);
    reportFallingEdges(number, opening);
    value = opening.open(lineFile(number, "value"), O_RDONLY);
    if (value >= 0) return true;
    if (busy && errno == ENOENT) reportHeld(number);
    LOG4CPLUS_ERROR(logger, "Open failed: " << number);
    return false;
}

InterruptLine::Wait SysfsLine::beforeWait() {
    lseek(value, 0, SEEK_SET);
    return {value, POLLPRI, -1};
}

InterruptLine::Seen SysfsLine::afterWait(short reported) {
    constexpr short gone = POLLERR | POLLHUP | POLLNVAL;
    char content[4] = {};
    if (read(value, content, sizeof content) < 0) {
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
    const int fd = openFile(lineFile(number, "value"), O_RDONLY);
    if (fd < 0) return false;
    char level = 0;
    const bool low = read(fd, &level, 1) == 1 && level == '0';
    ::close(fd);
    return low;
}

void SysfsLine::close() {
    if (value >= 0) ::close(value);
    value = -1;
}
