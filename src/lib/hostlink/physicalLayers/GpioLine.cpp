#include "GpioLine.h"

#include <fcntl.h>
#include <log4cplus/loggingmacros.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("HostLinkPhysicalLayer"));

const std::string gpioFolder = "/sys/class/gpio/";

std::string lineFile(int number, const char* name) {
    return gpioFolder + "gpio" + std::to_string(number) + "/" + name;
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

// False only when the file cannot be opened. A value that the kernel refuses is not counted as a failure: exporting a
// line twice is refused, and the line is there all the same.
bool writeFile(const std::string& path, const std::string& text) {
    const int fd = openFile(path, O_WRONLY | O_TRUNC);
    if (fd < 0) return false;
    const int error = writeValue(fd, text);
    close(fd);
    if (error != 0) {
        LOG4CPLUS_DEBUG(logger, "Writing " << text << " to " << path << ": " << std::generic_category().message(error));
    }
    return true;
}

} // namespace

void armGpioLine(int number) {
    if (!writeFile(gpioFolder + "export", std::to_string(number))) {
        LOG4CPLUS_ERROR(logger, "Gpio export failed: " << number);
    }
    if (!writeFile(lineFile(number, "direction"), "in")) LOG4CPLUS_ERROR(logger, "Gpio direction failed: " << number);
    if (!writeFile(lineFile(number, "edge"), "falling")) LOG4CPLUS_ERROR(logger, "Gpio edge failed: " << number);
}

int openGpioValue(int number) {
    return openFile(lineFile(number, "value"), O_RDONLY);
}
