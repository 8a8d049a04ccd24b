#include "PseudoTerminal.h"

#include <array>
#include <climits>
#include <cstdlib>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "SystemError.h"

namespace {

descriptor::Descriptor openMaster() {
    descriptor::Descriptor master(
        checked(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), "cannot get a pseudo terminal"));
    checked(::grantpt(master.get()), "cannot grant access to the pseudo terminal");
    checked(::unlockpt(master.get()), "cannot unlock the pseudo terminal");
    return master;
}

std::string slavePathOf(int master) {
    std::array<char, PATH_MAX> path{};
    if (::ptsname_r(master, path.data(), path.size()) != 0) throwSystemError("cannot name the pseudo terminal");
    return path.data();
}

// Raw before anybody opens it: the default terminal would echo what comes in and change line ends.
descriptor::Descriptor openSlave(const std::string& path) {
    descriptor::Descriptor slave(checked(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), "cannot open " + path));
    termios settings{};
    checked(::tcgetattr(slave.get(), &settings), "cannot read the settings of " + path);
    ::cfmakeraw(&settings);
    checked(::tcsetattr(slave.get(), TCSANOW, &settings), "cannot make raw " + path);
    return slave;
}

descriptor::Descriptor watchClosing(const std::string& path) {
    descriptor::Descriptor watch(checked(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC), "cannot watch " + path));
    checked(::inotify_add_watch(watch.get(), path.c_str(), IN_CLOSE), "cannot watch " + path);
    return watch;
}

std::string targetOf(const std::string& link) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
    return length < 0 ? std::string() : std::string(target.data(), static_cast<size_t>(length));
}

} // namespace

TemporaryLink::TemporaryLink(const std::string& linkTarget, const std::string& linkPath)
    : target(linkTarget), link(linkPath) {
    if (link.empty()) return;
    const bool leftBehind = targetOf(link).rfind("/dev/pts/", 0) == 0;
    if (leftBehind) ::unlink(link.c_str());
    checked(::symlink(target.c_str(), link.c_str()), "cannot make the link " + link);
}

TemporaryLink::~TemporaryLink() {
    if (!link.empty() && targetOf(link) == target) ::unlink(link.c_str());
}

PseudoTerminal::PseudoTerminal(const std::string& link)
    : master(openMaster()),
      slavePath(slavePathOf(master.get())),
      slave(openSlave(slavePath)),
      watch(watchClosing(slavePath)),
      temporaryLink(slavePath, link) {}

// A program that asked for exclusive use and was killed leaves the mark behind, because the terminal stays open here;
// the next one could not open it.
void PseudoTerminal::handleNotice() {
    alignas(inotify_event) std::array<char, 4096> events;
    while (::read(watch.get(), events.data(), events.size()) > 0) {
    }
    ::ioctl(slave.get(), TIOCNXCL);
}
