#include "ChipFile.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <linux/gpio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "Reason.h"
#include "hostlink/link/LinkLogger.h"

using descriptor::Descriptor;
using descriptor::repeatInterrupted;

namespace {

constexpr auto deviceFolder = "/dev";
const std::string chipPrefix = "gpiochip";

Descriptor openFile(const std::string& path) {
    return Descriptor(
        repeatInterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC); })); // requests need no more
}

int askChip(const Descriptor& chip, unsigned long request, void* answer) {
    return repeatInterrupted([&] { return ::ioctl(chip.get(), request, answer); });
}

// The kernel ends its texts within their field.
template <std::size_t size> std::string textOf(const char (&field)[size]) {
    return {field, ::strnlen(field, size)};
}

bool askLine(const Descriptor& chip, std::uint32_t offset, gpio_v2_line_info* info) {
    *info = {};
    info->offset = offset;
    return askChip(chip, GPIO_V2_GET_LINEINFO_IOCTL, info) >= 0;
}

// What would make the device file appear, or open.
const char* adviceOn(int error) {
    switch (error) {
    case ENOENT:
    case ENODEV:
    case ENXIO: return " (is the controller's driver loaded, and is it enabled in the device tree or by an overlay?)";
    case EACCES: return " (is this user in the group of the device file?)";
    default: return "";
    }
}

// Names of the chips' device files.
std::vector<std::string> chipsInFolder() {
    std::vector<std::string> found;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(deviceFolder), ::closedir);
    if (!folder) return found;
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string name = entry->d_name;
        if (name.compare(0, chipPrefix.size(), chipPrefix) == 0) found.push_back(name);
    }
    return found;
}

} // namespace

bool ChipFile::open(const std::string& chip) {
    return chip.find('/') != std::string::npos ? openPath(chip) : openLabel(chip);
}

bool ChipFile::openPath(const std::string& path) {
    file = path;
    device = openFile(path);
    if (!device) {
        const int error = errno;
        LOG4CPLUS_ERROR(logger, "Gpio chip " << path << ": cannot open" << adviceOn(error) << ": " << reasonOf(error));
        return false;
    }
    gpiochip_info chip{};
    if (askChip(device, GPIO_GET_CHIPINFO_IOCTL, &chip) < 0) {
        LOG4CPLUS_ERROR(logger, "Gpio chip "
                                    << path
                                    << ": not a GPIO chip; give the path of one such as /dev/gpiochip0, or its label");
        return false;
    }
    lines = chip.lines;
    return true;
}

bool ChipFile::openLabel(const std::string& label) {
    std::vector<std::string> matches;
    int refused = 0; // errno of the last chip that could not be opened
    for (const std::string& name : chipsInFolder()) {
        const std::string path = std::string(deviceFolder) + "/" + name;
        const Descriptor candidate = openFile(path);
        if (!candidate) {
            refused = errno;
            continue;
        }
        gpiochip_info chip{};
        if (askChip(candidate, GPIO_GET_CHIPINFO_IOCTL, &chip) >= 0 && (textOf(chip.label) == label || name == label)) {
            matches.push_back(path);
        }
    }
    if (matches.size() == 1) return openPath(matches.front());
    if (!matches.empty()) {
        LOG4CPLUS_ERROR(logger, "Gpio chip " << label << ": " << matches.size()
                                             << " chips have this label; give the path of one (gpiodetect lists them)");
    } else if (refused != 0) {
        LOG4CPLUS_ERROR(logger, "Gpio chip " << label
                                             << ": no chip that may be opened has this label, others cannot be "
                                             << "opened" << adviceOn(refused) << ": " << reasonOf(refused));
    } else {
        LOG4CPLUS_ERROR(logger, "Gpio chip " << label << ": no chip has this label (gpiodetect lists them; is the "
                                             << "controller's driver loaded?)");
    }
    return false;
}

int ChipFile::findLine(const std::string& name) const {
    int found = -1;
    int count = 0;
    for (std::uint32_t offset = 0; offset < lines; ++offset) {
        gpio_v2_line_info info{};
        if (!askLine(device, offset, &info)) {
            const int error = errno;
            LOG4CPLUS_ERROR(logger, "Gpio chip " << file << ": cannot ask for line " << offset
                                                 << " (Linux before 5.10?): " << reasonOf(error));
            return -1;
        }
        if (textOf(info.name) != name) continue;
        found = static_cast<int>(offset);
        ++count;
    }
    if (count == 1) return found;
    if (count == 0) {
        LOG4CPLUS_ERROR(logger, "Gpio chip " << file << ": has no line named " << name << " (gpioinfo lists them)");
    } else {
        LOG4CPLUS_ERROR(logger, "Gpio chip " << file << ": has " << count << " lines named " << name
                                             << "; give the offset of one as GpioNumber");
    }
    return -1;
}

bool ChipFile::hasLine(int offset) const {
    if (offset >= 0 && static_cast<std::uint32_t>(offset) < lines) return true;
    LOG4CPLUS_ERROR(logger, "Gpio chip " << file << ": has no line " << offset << "; it has 0 to "
                                         << static_cast<std::int64_t>(lines) - 1);
    return false;
}

std::string ChipFile::holderOf(int offset) const {
    gpio_v2_line_info info{};
    if (!askLine(device, static_cast<std::uint32_t>(offset), &info)) return "somebody";
    if ((info.flags & GPIO_V2_LINE_FLAG_USED) == 0) return {};
    if (info.consumer[0] == 0) return "somebody";
    return "\"" + textOf(info.consumer) + "\"";
}
