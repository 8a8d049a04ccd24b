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

// False only when the file cannot be opened. A value that the kernel refuses is not counted as a failure: exporting a
// line twice is refused, and the line is there all the same.
bool writeFile(const std::string& path, const std::string& text) {
    const int fd = open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (fd < 0) return false;
    if (write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        LOG4CPLUS_DEBUG(logger, "Writing " << text << " to " << path << ": " << std::generic_category().message(errno));
    }
    close(fd);
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
    return open(lineFile(number, "value").c_str(), O_RDONLY | O_CLOEXEC);
}
