#include "DeviceChecks.h"

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "Files.h"

namespace command {

namespace {

constexpr mode_t readAndWrite = S_IRGRP | S_IWGRP;

std::string userName(uid_t user) {
    const passwd* entry = ::getpwuid(user);
    return entry == nullptr ? std::to_string(user) : entry->pw_name;
}

std::string groupName(gid_t group) {
    const ::group* entry = ::getgrgid(group);
    return entry == nullptr ? std::to_string(group) : entry->gr_name;
}

// Whether the user database has this user in the group, for sessions that are yet to begin.
bool isListedIn(gid_t group) {
    const ::group* entry = ::getgrgid(group);
    if (entry == nullptr) return false;
    const std::string user = userName(::geteuid());
    for (char** member = entry->gr_mem; *member != nullptr; ++member) {
        if (user == *member) return true;
    }
    return false;
}

bool beginsWith(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

} // namespace

std::string remedyForMissing(const std::string& path) {
    if (beginsWith(path, "/dev/i2c-")) return "sudo modprobe i2c-dev   # and the bus enabled in the device tree";
    if (beginsWith(path, "/dev/spidev")) return "sudo modprobe spidev   # and a device for it in the device tree";
    if (beginsWith(path, "/dev/ttyUSB") || beginsWith(path, "/dev/ttyACM"))
        return "sudo dmesg | grep tty   # is the adapter plugged in, and did its driver take it?";
    if (beginsWith(path, "/dev/gpiochip")) return "gpiodetect   # lists the chips that there are";
    return "hostlink doctor   # lists what this machine offers";
}

std::string remedyAgainst(const Holders& holders, const std::string& path) {
    for (const Holder& each : holders.all) {
        if (each.name.find("getty") != std::string::npos)
            return "sudo systemctl disable --now serial-getty@" + baseName(path) + ".service";
    }
    return "sudo kill " + holders.processes();
}

DeviceChecks::DeviceChecks(Findings& findings, const std::string& path, const std::string& usualGroup)
    : found(findings), device(path), usual(usualGroup) {
    if (::stat(path.c_str(), &status) != 0) status = {};
}

bool DeviceChecks::isThere() {
    if (::stat(device.c_str(), &status) == 0) {
        found.good("device", "is there");
        return true;
    }
    const int error = errno;
    status = {};
    found.bad("device", "is not there: " + std::generic_category().message(error), remedyForMissing(device));
    return false;
}

bool DeviceChecks::isAllowed() const {
    return ::faccessat(AT_FDCWD, device.c_str(), R_OK | W_OK, AT_EACCESS) == 0;
}

std::string DeviceChecks::ownership() const {
    char mode[16];
    std::snprintf(mode, sizeof mode, " %04o", static_cast<unsigned>(status.st_mode & 07777));
    return userName(status.st_uid) + ":" + groupName(status.st_gid) + mode;
}

std::string DeviceChecks::remedyForAccess() const {
    const std::string group = groupName(status.st_gid);
    const std::string join = "sudo usermod -aG ";
    const bool groupMay = (status.st_mode & readAndWrite) == readAndWrite && status.st_gid != 0;
    if (groupMay && isListedIn(status.st_gid)) return "newgrp " + group + "   # or log out and in again";
    if (groupMay) return join + group + " " + userName(::geteuid()) + "   # then log out and in again";
    return "sudo groupadd -f -r " + usual + "; sudo chgrp " + usual + " " + device + "; sudo chmod 660 " + device +
           "; " + join + usual + " " + userName(::geteuid()) +
           "   # then log out and in again; for good: the udev rules, docs/boards.md";
}

bool DeviceChecks::mayOpen() {
    if (isAllowed()) {
        found.good("access", ownership() + ", you may read and write it");
        return true;
    }
    found.bad("access", ownership() + ", you (" + userName(::geteuid()) + ") may not read and write it",
              remedyForAccess());
    return false;
}

std::string DeviceChecks::folder() const {
    if (!S_ISCHR(status.st_mode)) return "";
    return "/sys/dev/char/" + std::to_string(major(status.st_rdev)) + ":" + std::to_string(minor(status.st_rdev));
}

std::string DeviceChecks::driverName() const {
    // A bus has none itself, its controller has; Linux 6.8 puts two devices between a port and its controller.
    for (const char* up : {"", "/..", "/../.."}) {
        std::string name = linkName(folder() + "/device" + up + "/driver");
        if (!name.empty() && name != "port" && name != "ctrl") return name;
    }
    return "";
}

void DeviceChecks::driver() {
    const std::string name = driverName();
    if (!name.empty())
        found.good("driver", name);
    else if (isPseudoTerminal(status))
        found.good("driver", "none: a pseudo terminal, whose other end is a program");
    else if (folder().empty())
        found.doubtful("driver", "none: no device of the kernel", "ls -l " + device);
    else
        found.doubtful("driver", "the kernel does not tell which", "ls -l " + folder() + "/");
}

const Holders& DeviceChecks::holders() {
    open = holdersOf(device);
    if (isPseudoTerminal(status)) {
        if (!open.all.empty()) found.good("users", "open in " + open.print());
    } else if (!open.all.empty()) {
        found.doubtful("users", "also open in " + open.print() + ", which takes bytes of the host",
                       remedyAgainst(open, device));
    } else if (!open.allSeen) {
        found.good("users", "open in no program that this user may look into", "sudo fuser -v " + device);
    } else {
        found.good("users", "no other program has it open");
    }
    return open;
}

} // namespace command
