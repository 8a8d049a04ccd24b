// The line on which the host asks to be read.
#include <unistd.h>

#include "Chips.h"
#include "DeviceChecks.h"
#include "Files.h"
#include "WireChecks.h"

namespace command {

namespace {

std::string listed(const std::vector<SysfsChip>& chips) {
    std::string text;
    for (const SysfsChip& chip : chips) text += (text.empty() ? "" : ", ") + chip.print();
    return text;
}

void tellInterrupts(const std::string& chipName, const std::string& trial, Findings& findings) {
    const auto can = canInterrupt(chipName);
    if (!can)
        findings.doubtful("interrupt", "whether the controller interrupts is not to be seen before the line is taken",
                          trial);
    else if (*can)
        findings.good("interrupt", "the device tree names the controller as one of interrupts");
    else
        findings.doubtful("interrupt", "the device tree does not name the controller as one of interrupts", trial);
}

// A consumer other than sysfs, which is ourselves.
void checkConsumer(const LineInfo& line, const std::string& path, bool sysfsIsFine, Findings& findings) {
    const std::string name = line.name.empty() ? "" : "\"" + line.name + "\", ";
    if (!line.used || (sysfsIsFine && line.consumer == "sysfs")) {
        findings.good("line", name + (line.output ? "an output" : "an input") + ", free for the link");
        return;
    }
    const std::string remedy =
        line.consumer == "sysfs"
            ? "grep -l . " + gpioClass + "/gpio*/edge   # then its number into " + gpioClass + "/unexport"
            : "gpioinfo " + path + "   # then end that program, or the device tree's claim";
    findings.bad("line", name + "held by \"" + line.consumer + "\"", remedy);
}

// The offset of a line on a chip, by its name or its number.
std::optional<std::uint32_t> offsetOf(const WireOptions& wire, const ChipInfo& chip, Findings& findings) {
    const std::string remedy = "gpioinfo " + chip.path + "   # lists its lines";
    if (!wire.gpioLine) {
        const auto offset = static_cast<std::uint32_t>(wire.gpio.value_or(0));
        if (offset < chip.lines) return offset;
        findings.bad("line",
                     "there is no line " + std::to_string(offset) + ", only 0 to " +
                         std::to_string(static_cast<long>(chip.lines) - 1),
                     remedy);
        return std::nullopt;
    }
    for (std::uint32_t offset = 0; offset < chip.lines; ++offset) {
        const auto line = lineInfo(chip.path, offset);
        if (line && line->name == *wire.gpioLine) return offset;
    }
    findings.bad("line", "no line is named " + *wire.gpioLine, remedy);
    return std::nullopt;
}

void checkChipLine(const WireOptions& wire, Findings& findings) {
    findings.lookAt("line on " + *wire.gpioChip);
    if (wire.gpioChip->find('/') != std::string::npos) {
        DeviceChecks device(findings, *wire.gpioChip, "gpio");
        if (!device.isThere() || !device.mayOpen()) return;
    }
    const auto chip = findChip(*wire.gpioChip);
    if (!chip) {
        findings.bad("chip", "no one chip of that path or label that you may open", "sudo gpiodetect");
        return;
    }
    findings.good("chip", chip->path + ", " + chip->label + ", " + std::to_string(chip->lines) + " lines");
    const auto offset = offsetOf(wire, *chip, findings);
    if (!offset) return;
    const auto line = lineInfo(chip->path, *offset);
    if (!line) {
        findings.bad("line", "the kernel does not tell of its lines: Linux 5.10 or later does",
                     "uname -r   # or without --gpio-chip, through sysfs");
        return;
    }
    checkConsumer(*line, chip->path, false, findings);
    tellInterrupts(chip->name,
                   "gpiomon --num-events=1 " + chip->path + " " + std::to_string(*offset) +
                       "   # with the link stopped; a controller without refuses",
                   findings);
}

void checkExported(const std::string& folder, Findings& findings) {
    if (!exists(folder + "/edge")) {
        findings.bad("interrupt", "its controller has no interrupts: the link would be deaf",
                     "gpiodetect   # another controller's line");
        return;
    }
    findings.good("interrupt",
                  "its controller has interrupts; edge: " + firstLine(folder + "/edge").value_or("not to be read"));
    for (const char* name : {"/direction", "/edge", "/value"}) {
        const std::string file = std::string(folder).append(name);
        if (::access(file.c_str(), R_OK | W_OK) == 0) continue;
        findings.bad("access", file + " may not be read and written by you",
                     "cd " + folder + "; sudo chgrp gpio direction edge value; sudo chmod 660 direction edge value" +
                         "   # for good: the udev rules, docs/boards.md");
        return;
    }
    const auto level = numberIn(folder + "/value");
    if (level) findings.good("level", *level != 0 ? "high: the host has nothing to say" : "low: the host has a packet");
}

void checkUnexported(const std::string& number, const std::string& trial, const SysfsChip* chip, Findings& findings) {
    const std::string device = chip == nullptr ? "" : chip->device();
    if (!device.empty()) {
        const auto line = lineInfo(device, static_cast<std::uint32_t>(std::stol(number) - chip->base));
        if (line) checkConsumer(*line, device, true, findings);
        tellInterrupts(baseName(device), trial, findings);
    }
    if (::access((gpioClass + "/export").c_str(), W_OK) == 0)
        findings.good("export", "not exported yet; you may, and the link does");
    else
        findings.bad("export", "not exported, and you may not write to " + gpioClass + "/export", trial);
}

void checkSysfsLine(const WireOptions& wire, Findings& findings) {
    const std::string number = std::to_string(*wire.gpio);
    findings.lookAt("line " + number);
    if (!exists(gpioClass)) {
        findings.bad("sysfs", "this kernel has no " + gpioClass,
                     "hostlink doctor --gpio-chip /dev/gpiochip0   # and the line's offset on the chip");
        return;
    }
    const auto chips = sysfsChips();
    const SysfsChip* mine = nullptr;
    for (const SysfsChip& chip : chips) {
        if (chip.has(*wire.gpio)) mine = &chip;
    }
    const std::string trial = "echo " + number + " | sudo tee " + gpioClass + "/export; ls " + gpioClass + "/gpio" +
                              number + "   # there is an edge where the controller has interrupts";
    if (mine != nullptr)
        findings.good("controller", "line " + std::to_string(*wire.gpio - mine->base) + " of " + mine->label +
                                        ", whose base is " + std::to_string(mine->base));
    else if (!chips.empty())
        findings.bad("controller", "no controller has this number: " + listed(chips), "gpiodetect   # base + offset");
    else
        findings.doubtful("controller", "the kernel lists none in " + gpioClass, "ls " + gpioClass);
    const std::string folder = gpioClass + "/gpio" + number;
    if (exists(folder))
        checkExported(folder, findings);
    else if (mine != nullptr || chips.empty())
        checkUnexported(number, trial, mine, findings);
}

} // namespace

void checkLine(const WireOptions& wire, Findings& findings) {
    if (wire.gpioChip && (wire.gpio || wire.gpioLine)) return checkChipLine(wire, findings);
    if (wire.gpio) return checkSysfsLine(wire, findings);
    findings.lookAt("line");
    findings.doubtful("line", "no line is given; the host's packets are read when it asks",
                      "hostlink doctor ... --gpio N   # or --gpio-chip CHIP with --gpio OFFSET or --gpio-line NAME");
}

} // namespace command
