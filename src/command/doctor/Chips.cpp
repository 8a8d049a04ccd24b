#include "Chips.h"

#include <cstring>

#include <fcntl.h>
#include <linux/gpio.h>
#include <sys/ioctl.h>

#include <descriptor/Descriptor.h>

#include "Files.h"

namespace command {

namespace {

using descriptor::Descriptor;
using descriptor::repeatInterrupted;

Descriptor openChip(const std::string& path) {
    return Descriptor(repeatInterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC); }));
}

// The kernel ends its texts within their field.
template <std::size_t size> std::string textOf(const char (&field)[size]) {
    return {field, ::strnlen(field, size)};
}

} // namespace

std::string SysfsChip::print() const {
    return label + " has " + std::to_string(base) + " to " + std::to_string(base + lines - 1);
}

std::string SysfsChip::device() const {
    const auto names = namesIn(folder + "/device", "gpiochip");
    return names.empty() ? "" : "/dev/" + names.front();
}

std::vector<SysfsChip> sysfsChips() {
    std::vector<SysfsChip> chips;
    for (const std::string& name : namesIn(gpioClass, "gpiochip")) {
        std::string folder = gpioClass + "/";
        folder += name;
        const auto base = numberIn(folder + "/base");
        const auto lines = numberIn(folder + "/ngpio");
        if (base && lines) chips.push_back({firstLine(folder + "/label").value_or(name), *base, *lines, folder});
    }
    return chips;
}

std::optional<ChipInfo> chipInfo(const std::string& path) {
    const Descriptor chip = openChip(path);
    gpiochip_info info{};
    if (!chip || ::ioctl(chip.get(), GPIO_GET_CHIPINFO_IOCTL, &info) < 0) return std::nullopt;
    return ChipInfo{path, textOf(info.name), textOf(info.label), info.lines};
}

std::optional<ChipInfo> findChip(const std::string& chip) {
    if (chip.find('/') != std::string::npos) return chipInfo(chip);
    std::optional<ChipInfo> only;
    for (const std::string& name : namesIn("/dev", "gpiochip")) {
        const auto info = chipInfo("/dev/" + name);
        if (!info || (info->label != chip && info->name != chip)) continue;
        if (only) return std::nullopt;
        only = info;
    }
    return only;
}

std::optional<LineInfo> lineInfo(const std::string& chipPath, std::uint32_t offset) {
    const Descriptor chip = openChip(chipPath);
    gpio_v2_line_info info{};
    info.offset = offset;
    if (!chip || ::ioctl(chip.get(), GPIO_V2_GET_LINEINFO_IOCTL, &info) < 0) return std::nullopt;
    return LineInfo{textOf(info.name), textOf(info.consumer), (info.flags & GPIO_V2_LINE_FLAG_USED) != 0,
                    (info.flags & GPIO_V2_LINE_FLAG_OUTPUT) != 0};
}

std::optional<bool> canInterrupt(const std::string& chipName) {
    const std::string node = "/sys/bus/gpio/devices/" + chipName + "/of_node";
    if (!exists(node)) return std::nullopt;
    return exists(node + "/interrupt-controller");
}

} // namespace command
