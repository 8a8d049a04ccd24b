/// @file
/// Controllers of lines, as /sys and their device files tell of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace command {

inline const std::string gpioClass = "/sys/class/gpio";

/// A controller in /sys/class/gpio.
struct SysfsChip {
    std::string label;
    long base;          ///< the number of its first line
    long lines;         ///< how many it has
    std::string folder; ///< "/sys/class/gpio/gpiochip512"

    bool has(long number) const { return base <= number && number < base + lines; }
    /// "pinctrl-bcm2835 has 512 to 565"
    std::string print() const;
    /// Its character device; empty when it has none.
    std::string device() const;
};

std::vector<SysfsChip> sysfsChips();

/// One line, as its character device tells without the line being requested.
struct LineInfo {
    std::string name;
    std::string consumer;
    bool used;
    bool output;
};

/// A controller's character device, opened for reading; it is asked and nothing is requested.
struct ChipInfo {
    std::string path;
    std::string name;
    std::string label;
    std::uint32_t lines;
};

std::optional<ChipInfo> chipInfo(const std::string& path);
/// By its path, its name or its label; none when there is none, or more than one.
std::optional<ChipInfo> findChip(const std::string& chip);
std::optional<LineInfo> lineInfo(const std::string& chipPath, std::uint32_t offset);

/// Whether the device tree calls the controller one of interrupts; not known where there is no device tree.
std::optional<bool> canInterrupt(const std::string& chipName);

} // namespace command
