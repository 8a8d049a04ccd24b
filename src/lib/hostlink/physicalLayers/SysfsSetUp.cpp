#include "SysfsSetUp.h"

#include <cerrno>

#include "Reason.h"

namespace {

std::string whyNotExported(const SysfsSetUp::Step& step) {
    const char* hint = step.opening == ENOENT   ? " (a kernel without sysfs GPIO? GpioChip needs none)"
                       : step.writing == EINVAL ? " (no controller has a line of this number)"
                                                : "";
    return "could not be exported: " + reasonOf(step.error()) + hint;
}

std::string whyNoInput(const SysfsSetUp::Step& step) {
    return "direction could not be set to in: " + reasonOf(step.error());
}

} // namespace

std::string SysfsSetUp::explanation(int number) const {
    const std::string line = "Gpio " + std::to_string(number) + ": ";
    if (value != 0) return line + whyNotThere();
    if (edge.failed()) return line + whyDeaf(number);
    if (direction.failed()) {
        return line + whyNoInput(direction) + "; harmless: it is an input, or its edge could not have been set";
    }
    // One that is exported already is refused, and is there all the same.
    if (!exporting.failed() || exporting.writing == EBUSY) return {};
    return line + whyNotExported(exporting) + "; harmless: it is there already";
}

std::string SysfsSetUp::whyNotThere() const {
    if (value != ENOENT || !exporting.failed()) {
        return "its level cannot be read: " + reasonOf(value) + "; the link cannot start";
    }
    if (exporting.writing == EBUSY) {
        return "a driver or another program holds the line (gpioinfo names it): it cannot be exported, and the link "
               "cannot start until it is free";
    }
    return whyNotExported(exporting) + "; the link cannot start until it is";
}

std::string SysfsSetUp::whyDeaf(int number) const {
    std::string text = "edge could not be set to falling: " + reasonOf(edge.error());
    if (edgeIsSet) return text + "; harmless: it says so already";
    if (edge.opening == ENOENT) {
        return text + "; its controller cannot interrupt: the link is deaf, the host's packets are not read";
    }
    if (direction.failed()) text += ", and " + whyNoInput(direction);
    return text + "; the link is deaf, the host's packets are not read until /sys/class/gpio/gpio" +
           std::to_string(number) + "/edge says falling";
}
