#include "OtherUsers.h"

#include <array>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <memory>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "Descriptor.h"
#include "SerialLog.h"

namespace serialcomm {

namespace {

// The kernel's Documentation/admin-guide/devices.txt: the programs' ends of Unix98 pseudo terminals.
constexpr unsigned firstPtyMajor = 136;
constexpr unsigned lastPtyMajor = 143;
// A process that forked holds one terminal many times over.
constexpr std::size_t mostNamed = 3;

struct Close {
    void operator()(DIR* folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, Close>;

// Where the link `name` in the open folder leads; empty when that cannot be told.
std::string targetOf(int folder, const char* name) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlinkat(folder, name, target.data(), target.size());
    return size > 0 ? std::string(target.data(), static_cast<std::size_t>(size)) : std::string();
}

// The first line of a small file; empty when it cannot be read.
std::string firstLine(const Descriptor& file) {
    std::array<char, 64> text{};
    const ssize_t size = file ? ::read(file.get(), text.data(), text.size()) : 0;
    const std::string all(text.data(), static_cast<std::size_t>(size > 0 ? size : 0));
    return all.substr(0, all.find('\n'));
}

bool isConsole(dev_t terminal) {
    const std::string path =
        "/sys/dev/char/" + std::to_string(major(terminal)) + ":" + std::to_string(minor(terminal)) + "/console";
    return firstLine(Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC))) == "Y";
}

bool isNumber(const char* text) {
    return std::isdigit(static_cast<unsigned char>(*text)) != 0;
}

Folder openFolder(int parent, const std::string& name) {
    Descriptor opened(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Folder folder(opened ? ::fdopendir(opened.get()) : nullptr);
    if (folder) static_cast<void>(opened.release());
    return folder;
}

// Whether the process, a folder of `processes`, has the terminal open. Somebody else's folder cannot be looked into.
bool holds(int processes, const std::string& process, const std::string& terminal) {
    const Folder files = openFolder(processes, process + "/fd");
    if (!files) return false;
    while (const dirent* file = ::readdir(files.get())) {
        if (targetOf(::dirfd(files.get()), file->d_name) == terminal) return true;
    }
    return false;
}

std::string nameOf(int processes, const std::string& process) {
    const std::string path = process + "/comm";
    const std::string name = firstLine(Descriptor(::openat(processes, path.c_str(), O_RDONLY | O_CLOEXEC)));
    return (name.empty() ? "process" : name) + " (" + process + ")";
}

std::vector<std::string> holdersOf(const std::string& terminal) {
    std::vector<std::string> names;
    const Folder processes(::opendir("/proc"));
    if (!processes) return names;
    const int folder = ::dirfd(processes.get());
    const std::string own = std::to_string(::getpid());
    while (const dirent* entry = ::readdir(processes.get())) {
        if (names.size() == mostNamed) break;
        const std::string process = entry->d_name;
        if (isNumber(entry->d_name) && process != own && holds(folder, process, terminal)) {
            names.push_back(nameOf(folder, process));
        }
    }
    return names;
}

bool isPty(dev_t terminal) {
    return major(terminal) >= firstPtyMajor && major(terminal) <= lastPtyMajor;
}

} // namespace

void warnOfOtherUsers(int fd, const std::string& device) {
    struct stat status {};
    if (::fstat(fd, &status) != 0 || isPty(status.st_rdev)) return;
    if (isConsole(status.st_rdev)) {
        logWarning(device, "is a console of the kernel (console= on its command line): the far side gets its messages");
    }
    const std::string path = targetOf(AT_FDCWD, ("/proc/self/fd/" + std::to_string(fd)).c_str());
    if (path.empty()) return;
    for (const std::string& holder : holdersOf(path)) {
        logWarning(device,
                   "is also open in " + holder + ", which takes bytes from the far side and may send it others; " +
                       "end that program (a getty: systemctl disable --now serial-getty@ with the port's name)");
    }
}

} // namespace serialcomm
