#include "SandboxMounts.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <descriptor/Descriptor.h>

#include "RigSandbox.h"
#include "RigState.h"

namespace busrig {

void fail(const std::string& what) {
    throw CannotRun(what + ": " + strerror(errno));
}

namespace {

using descriptor::Descriptor;

void makeFolder(const std::string& path) {
    if (::mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) fail("mkdir " + path);
}

void makeFile(const std::string& path) {
    if (!Descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644))) fail("create " + path);
}

void makeLink(const std::string& path, const char* target) {
    if (::symlink(target, path.c_str()) != 0) fail("symlink " + path);
}

void mountNew(const char* type, const std::string& path, const char* options) {
    if (::mount("busrig", path.c_str(), type, 0, options) != 0) fail(std::string("mount ") + type + " on " + path);
}

void bindMount(const std::string& from, const std::string& path) {
    if (::mount(from.c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) fail("bind mount on " + path);
}

/// A folder that stays reachable after something has been mounted over it.
class KeptFolder {
public:
    explicit KeptFolder(const char* path) : folder(::open(path, O_PATH | O_DIRECTORY | O_CLOEXEC)) {
        if (!folder) fail(std::string("open ") + path);
    }

    std::string pathOf(const std::string& name) const {
        return "/proc/self/fd/" + std::to_string(folder.get()) + "/" + name;
    }
    std::vector<std::string> folders() const {
        std::vector<std::string> names;
        const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(pathOf("").c_str()), closedir);
        if (!listing) fail("list a folder");
        while (const dirent* entry = readdir(listing.get())) {
            const std::string name = entry->d_name;
            if (entry->d_type == DT_DIR && name != "." && name != "..") names.push_back(name);
        }
        return names;
    }

private:
    const Descriptor folder;
};

/// sysfs takes no new folders: where the kernel has no GPIO class, a folder with the other classes in it replaces
/// /sys/class.
void mountGpioClassFolder() {
    if (::access("/sys/class/gpio", F_OK) == 0) return;
    const KeptFolder classes("/sys/class");
    const std::vector<std::string> names = classes.folders();
    mountNew("tmpfs", "/sys/class", "mode=0755");
    for (const std::string& name : names) {
        makeFolder("/sys/class/" + name);
        bindMount(classes.pathOf(name), "/sys/class/" + name);
    }
    makeFolder("/sys/class/gpio");
}

} // namespace

void makeMountsPrivate() {
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) fail("make mounts private");
}

void mountPrivateDev(const std::string& fuseNode) {
    const KeptFolder dev("/dev");
    const Descriptor fuse(::open(fuseNode.c_str(), O_PATH | O_CLOEXEC));
    if (!fuse) fail("open " + fuseNode);
    mountNew("tmpfs", "/dev", "mode=0755");
    for (const char* name : {"null", "zero", "full", "random", "urandom", "tty"}) {
        makeFile(std::string("/dev/") + name);
        bindMount(dev.pathOf(name), std::string("/dev/") + name);
    }
    makeFile("/dev/fuse");
    bindMount("/proc/self/fd/" + std::to_string(fuse.get()), "/dev/fuse");
    makeFolder("/dev/shm");
    mountNew("tmpfs", "/dev/shm", "mode=1777");
    makeFolder("/dev/pts");
    mountNew("devpts", "/dev/pts", "newinstance,ptmxmode=0666");
    makeLink("/dev/ptmx", "pts/ptmx"); // the node of another devpts instance would not find this one
    makeLink("/dev/fd", "/proc/self/fd");
    makeLink("/dev/stdin", "/proc/self/fd/0");
    makeLink("/dev/stdout", "/proc/self/fd/1");
    makeLink("/dev/stderr", "/proc/self/fd/2");
    makeFolder("/dev/busrig");
    makeFolder(sandboxMountPoint);
}

void showRigFiles() {
    mountGpioClassFolder();
    bindMount(std::string(sandboxMountPoint) + "/gpio", "/sys/class/gpio");
    for (const Board& board : boards) {
        for (const char* device : {board.i2cDevice, board.spiDevice}) {
            makeFile(std::string("/dev/") + device);
            bindMount(std::string(sandboxMountPoint) + "/dev/" + device, std::string("/dev/") + device);
        }
    }
}

void mountProc() {
    ::mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
}

} // namespace busrig
