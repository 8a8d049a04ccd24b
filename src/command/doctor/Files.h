/// @file
/// Small files and folders of /sys and /proc, read only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace command {

bool exists(const std::string& path);

/// Whether it is the programs' end of a pseudo terminal.
bool isPseudoTerminal(const struct stat& file);

/// The last part of a path.
std::string baseName(const std::string& path);

/// The first line of a file, without blanks at its end; none when it cannot be read.
std::optional<std::string> firstLine(const std::string& path);

/// A decimal number that stands in a file; none when there is none.
std::optional<long> numberIn(const std::string& path);

/// A cell of the device tree: four bytes, the highest first.
std::optional<std::uint32_t> cellIn(const std::string& path);

/// The last part of what a symbolic link points at; empty when it is none.
std::string linkName(const std::string& path);

/// What is in a folder and begins so, in order: by letters, and numbers by their size.
std::vector<std::string> namesIn(const std::string& folder, const std::string& prefix = "");

} // namespace command
