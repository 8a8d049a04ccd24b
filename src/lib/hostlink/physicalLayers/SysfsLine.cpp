#include "GpioLine.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>

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
        fd = open(path.c_str(), flags | O_CLOEXEC);
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

// A line that is exported already is refused, and is there all the same.
void exportLine(int number) {
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
}

void makeInput(int number, PatientOpening& opening) {
    const std::string path = lineFile(number, "direction");
    const Outcome outcome = writeAndClose(opening.open(path, writeFlags), path, "in");
    if (outcome.opening != 0) {
        LOG4CPLUS_ERROR(logger, "Gpio direction failed: " << number);
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
    LOG4CPLUS_WARN(logger, "Gpio " << number << ": edge could not be set to falling: " << outcome.reason()
                                   << "; no interrupts: the host's packets are not read until " << path
                                   << " says falling");
}

} // namespace

int openGpioLine(int number) {
    exportLine(number);
    PatientOpening opening;
    makeInput(number, opening);
    reportFallingEdges(number, opening);
    return opening.open(lineFile(number, "value"), O_RDONLY);
}
