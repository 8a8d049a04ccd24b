#include "Files.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <memory>

#include <dirent.h>
#include <string.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace command {

bool isPseudoTerminal(const struct stat& file) {
    constexpr unsigned first = 136; // the kernel's Documentation/admin-guide/devices.txt: Unix98 pseudo terminals
    constexpr unsigned last = 143;
    return S_ISCHR(file.st_mode) && major(file.st_rdev) >= first && major(file.st_rdev) <= last;
}

bool exists(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

std::string baseName(const std::string& path) {
    return path.substr(path.find_last_of('/') + 1);
}

std::optional<std::string> firstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    if (!file || !std::getline(file, line)) return std::nullopt;
    line.erase(line.find_last_not_of(" \t\r") + 1);
    return line;
}

std::optional<long> numberIn(const std::string& path) {
    const auto line = firstLine(path);
    if (!line) return std::nullopt;
    char* end = nullptr;
    const long number = std::strtol(line->c_str(), &end, 10);
    if (end == line->c_str() || *end != '\0') return std::nullopt;
    return number;
}

std::optional<std::uint32_t> cellIn(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::array<char, 4> bytes{};
    if (!file.read(bytes.data(), bytes.size())) return std::nullopt;
    std::uint32_t number = 0;
    for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
    return number;
}

std::string linkName(const std::string& path) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlink(path.c_str(), target.data(), target.size());
    return size > 0 ? baseName(std::string(target.data(), static_cast<std::size_t>(size))) : "";
}

std::vector<std::string> namesIn(const std::string& folder, const std::string& prefix) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(folder.c_str()), ::closedir);
    if (!listing) return names;
    while (const dirent* entry = ::readdir(listing.get())) {
        const std::string name = entry->d_name;
        if (name[0] != '.' && name.compare(0, prefix.size(), prefix) == 0) names.push_back(name);
    }
    std::sort(names.begin(), names.end(),
              [](const std::string& a, const std::string& b) { return ::strverscmp(a.c_str(), b.c_str()) < 0; });
    return names;
}

} // namespace command
