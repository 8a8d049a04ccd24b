#include "Holders.h"

#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

#include "Files.h"

namespace command {

namespace {

// Whether both are the same file; of a device, by whatever name it was opened. A container has pseudo terminals of its
// own, whose numbers are those of others.
bool isSame(const struct stat& one, const struct stat& other) {
    if ((one.st_mode & S_IFMT) != (other.st_mode & S_IFMT)) return false;
    if (S_ISCHR(one.st_mode) && !isPseudoTerminal(one)) return one.st_rdev == other.st_rdev;
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool holds(const std::string& files, const struct stat& wanted) {
    for (const std::string& file : namesIn(files)) {
        struct stat found {};
        std::string path = files;
        path.append("/").append(file);
        if (::stat(path.c_str(), &found) == 0 && isSame(found, wanted)) return true;
    }
    return false;
}

template <typename Part> std::string joined(const std::vector<Holder>& all, const char* between, Part part) {
    std::string text;
    for (const Holder& each : all) text += (text.empty() ? "" : between) + part(each);
    return text;
}

} // namespace

std::string Holders::print() const {
    return joined(all, ", ", [](const Holder& each) { return each.name + " (" + std::to_string(each.process) + ")"; });
}

std::string Holders::processes() const {
    return joined(all, " ", [](const Holder& each) { return std::to_string(each.process); });
}

Holders holdersOf(const std::string& path) {
    Holders found;
    struct stat wanted {};
    if (::stat(path.c_str(), &wanted) != 0) return found;
    for (const std::string& name : namesIn("/proc")) {
        const int process = std::atoi(name.c_str()); // 0: no process's folder
        if (process == 0 || process == ::getpid()) continue;
        const std::string folder = "/proc/" + name;
        const std::string files = folder + "/fd";
        if (::access(files.c_str(), R_OK) != 0) {
            found.allSeen = found.allSeen && !exists(folder); // one that has ended holds nothing
        } else if (holds(files, wanted)) {
            found.all.push_back({process, firstLine(folder + "/comm").value_or("process")});
        }
    }
    return found;
}

} // namespace command
