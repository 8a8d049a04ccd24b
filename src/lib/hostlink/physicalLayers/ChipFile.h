/// @file
/// The character device of a GPIO chip.
#pragma once

#include <cstdint>
#include <string>

#include <descriptor/Descriptor.h>

/// Finds and opens a chip, and finds a line on it. What fails is told at ERROR. One thread.
class ChipFile {
public:
    /// Opens the chip at this path, or, for a text without a slash, the only one in /dev with this label or name.
    bool open(const std::string& chip);
    int descriptor() const { return device.get(); }
    /// Of the device file; set by `open`.
    const std::string& path() const { return file; }

    /// The offset of the only line of that name; −1 when there is none or more than one.
    int findLine(const std::string& name) const;
    /// Whether the chip has a line of that offset.
    bool hasLine(int offset) const;
    /// Who holds the line, in quotes; "somebody" when the kernel does not tell, empty when it says that nobody does.
    std::string holderOf(int offset) const;

private:
    bool openPath(const std::string& path);
    bool openLabel(const std::string& label);

    descriptor::Descriptor device;
    std::uint32_t lines = 0;
    std::string file;
};
