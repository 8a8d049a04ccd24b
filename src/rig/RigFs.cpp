#define FUSE_USE_VERSION 35
#include "RigFs.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fuse3/fuse.h>
#include <fuse3/fuse_lowlevel.h>

#include <descriptor/Descriptor.h>

#include "CallerMemory.h"
#include "EmulatedIoctl.h"
#include "I2cDevice.h"
#include "OpenFile.h"
#include "RigPaths.h"
#include "SpiDevice.h"
#include "SysfsFiles.h"

// Threads: a fixed number of workers. One of them at a time waits for a request; the others carry requests out, several
// at once, also for one open file. What they share is in `Rig`, behind its lock; the kernel releases an open file after
// its last call has returned. To stop: the stop event ends each worker as it comes to wait.

namespace busrig {

namespace {

using Kind = RigNode::Kind;

constexpr off_t sysfsFileSize = 4096; // what sysfs shows for every attribute

class FusePollWaiter : public PollWaiter {
public:
    explicit FusePollWaiter(fuse_pollhandle* pollHandle) : handle(pollHandle) {}
    ~FusePollWaiter() override { fuse_pollhandle_destroy(handle); }
    FusePollWaiter(const FusePollWaiter&) = delete;
    FusePollWaiter& operator=(const FusePollWaiter&) = delete;
    void wake() override { fuse_notify_poll(handle); }

private:
    fuse_pollhandle* const handle;
};

/// Owns what `fuse_file_info::fh` points to, so that files which are still open at the end do not leak.
class OpenFiles {
public:
    uint64_t add(std::unique_ptr<OpenFile> file) {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto handle = reinterpret_cast<uintptr_t>(file.get());
        files[handle] = std::move(file);
        return handle;
    }
    void remove(uint64_t handle) {
        std::unique_ptr<OpenFile> removed; // destroyed after the lock is gone
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = files.find(handle);
        if (found == files.end()) return;
        removed = std::move(found->second);
        files.erase(found);
    }

private:
    std::mutex mutex; ///< guards `files`, not what the files do
    std::map<uint64_t, std::unique_ptr<OpenFile>> files;
};

/// What every call gets from libfuse.
struct Shared {
    Rig& rig;
    OpenFiles files;
};

Shared& shared() {
    return *static_cast<Shared*>(fuse_get_context()->private_data);
}
Rig& rig() {
    return shared().rig;
}

/// libfuse gives no path for an open file, only the handle that `openFile` stored.
OpenFile& handleOf(fuse_file_info* info) {
    return *reinterpret_cast<OpenFile*>(info->fh); // NOLINT(performance-no-int-to-ptr): libfuse keeps a number
}

bool isVisible(const RigNode& node) {
    if (!node.needsExport()) return node.kind != Kind::Nothing;
    return rig().access([&](RigState& state, Wakeups&) {
        const bool hidden = node.kind == Kind::Value && state.valueFileMissing;
        return state.lines.isExported(node.line) && !hidden;
    });
}

mode_t modeOf(const RigNode& node) {
    if (node.isDirectory()) return S_IFDIR | 0755;
    return S_IFREG | (node.kind == Kind::Export || node.kind == Kind::Unexport ? 0200 : 0644);
}

void fillAttributes(struct stat& attributes, mode_t mode, off_t size) {
    attributes = {};
    attributes.st_mode = mode;
    attributes.st_nlink = S_ISDIR(mode) ? 2 : 1;
    attributes.st_size = size;
    attributes.st_uid = ::getuid();
    attributes.st_gid = ::getgid();
}

int getAttributes(const char* path, struct stat* attributes, fuse_file_info* info) {
    if (info != nullptr && path == nullptr) { // of an open file
        fillAttributes(*attributes, S_IFREG | 0644, sysfsFileSize);
        return 0;
    }
    const RigNode node = parseRigPath(path);
    if (!isVisible(node)) return -ENOENT;
    const bool hasSize = !node.isDirectory() && node.kind != Kind::I2c && node.kind != Kind::Spi;
    fillAttributes(*attributes, modeOf(node), hasSize ? sysfsFileSize : 0);
    return 0;
}

std::vector<std::string> namesBelow(const RigNode& node) {
    if (node.kind == Kind::Root) return {"gpio", "dev"};
    if (node.kind == Kind::Line) return {"direction", "edge", "value"};
    std::vector<std::string> names;
    if (node.kind == Kind::Devices) {
        for (const Board& board : boards) names.insert(names.end(), {board.i2cDevice, board.spiDevice});
        return names;
    }
    names = {"export", "unexport"};
    return rig().access([&](RigState& state, Wakeups&) {
        for (int line = 0; line < GpioLines::lineCount; ++line) {
            if (state.lines.isExported(line)) names.push_back("gpio" + std::to_string(line));
        }
        return names;
    });
}

/// Directories carry what they are in their handle; nothing of theirs is owned.
uint64_t directoryHandle(const RigNode& node) {
    return static_cast<uint64_t>(node.kind) << 32 | static_cast<uint32_t>(node.line);
}

RigNode directoryOf(const fuse_file_info* info) {
    return {static_cast<Kind>(info->fh >> 32), static_cast<int>(info->fh), 0};
}

int readDirectory(const char*, void* buffer, fuse_fill_dir_t fill, off_t, fuse_file_info* info, fuse_readdir_flags) {
    for (const char* dots : {".", ".."}) fill(buffer, dots, nullptr, 0, fuse_fill_dir_flags{});
    for (const std::string& name : namesBelow(directoryOf(info))) {
        fill(buffer, name.c_str(), nullptr, 0, fuse_fill_dir_flags{});
    }
    return 0;
}

int openDirectory(const char* path, fuse_file_info* info) {
    const RigNode node = parseRigPath(path);
    if (!isVisible(node)) return -ENOENT;
    if (!node.isDirectory()) return -ENOTDIR;
    info->fh = directoryHandle(node);
    return 0;
}

GpioAttribute attributeOf(Kind kind) {
    if (kind == Kind::Direction) return GpioAttribute::Direction;
    return kind == Kind::Edge ? GpioAttribute::Edge : GpioAttribute::Value;
}

int openExport(bool isUnexport, int flags, std::unique_ptr<OpenFile>& opened) {
    if ((flags & O_ACCMODE) != O_WRONLY) return -EACCES; // sysfs: not readable, not even for root
    const std::string name = isUnexport ? "unexport" : "export";
    const int refusal = rig().access([&](RigState& state, Wakeups&) { return state.sysfs.openResult(name); });
    if (refusal == 0) opened = std::make_unique<ExportFile>(rig(), isUnexport);
    return refusal;
}

int openAttribute(const RigNode& node, std::unique_ptr<OpenFile>& opened) {
    auto file = std::make_unique<AttributeFile>(rig());
    const int error = file->open(node.line, attributeOf(node.kind));
    if (error == 0) opened = std::move(file);
    return error;
}

int openNode(const RigNode& node, int flags, std::unique_ptr<OpenFile>& opened) {
    switch (node.kind) {
    case Kind::Export: return openExport(false, flags, opened);
    case Kind::Unexport: return openExport(true, flags, opened);
    case Kind::Direction:
    case Kind::Edge:
    case Kind::Value: return openAttribute(node, opened);
    case Kind::I2c: opened = std::make_unique<I2cDevice>(rig(), node.board); return 0;
    case Kind::Spi: opened = std::make_unique<SpiDevice>(rig(), node.board); return 0;
    default: return -ENOENT;
    }
}

int openFile(const char* path, fuse_file_info* info) {
    std::unique_ptr<OpenFile> opened;
    const int error = openNode(parseRigPath(path), info->flags, opened);
    if (error != 0) return error;
    info->direct_io = 1; // each read and write reaches the rig, with its own size
    info->fh = shared().files.add(std::move(opened));
    return 0;
}

int releaseFile(const char*, fuse_file_info* info) {
    shared().files.remove(info->fh);
    return 0;
}

int readFile(const char*, char* buffer, size_t size, off_t offset, fuse_file_info* info) {
    return handleOf(info).read(buffer, size, static_cast<size_t>(offset));
}

/// The ioctl of a program under user emulation, with the copies that the kernel makes of a real one.
int emulatedIoctl(OpenFile& file, const EmulatedIoctl& emulated) {
    const CallerMemory memory(fuse_get_context()->pid);
    const auto command = static_cast<unsigned>(emulated.command);
    const auto address = static_cast<uintptr_t>(emulated.argument);
    std::vector<char> data(_IOC_SIZE(command));
    if ((_IOC_DIR(command) & _IOC_WRITE) != 0 && !memory.read(data.data(), address, data.size())) return -EFAULT;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the caller's address came as a number
    const int result = file.ioctl({fuse_get_context()->pid, command, reinterpret_cast<void*>(address), data.data()});
    if (result < 0 || (_IOC_DIR(command) & _IOC_READ) == 0) return result;
    return memory.write(address, data.data(), data.size()) ? result : -EFAULT;
}

int answerEmulatedIoctl(OpenFile& file, const char* buffer, size_t size) {
    EmulatedIoctl emulated{};
    if (size != sizeof emulated) return -EINVAL;
    memcpy(&emulated, buffer, sizeof emulated);
    const int result = emulatedIoctl(file, emulated);
    const CallerMemory memory(fuse_get_context()->pid);
    if (!memory.write(static_cast<uintptr_t>(emulated.resultAddress), &result, sizeof result)) return -EFAULT;
    return static_cast<int>(size);
}

int writeFile(const char*, const char* buffer, size_t size, off_t offset, fuse_file_info* info) {
    if (offset == EmulatedIoctl::offset) return answerEmulatedIoctl(handleOf(info), buffer, size);
    return handleOf(info).write(buffer, size);
}

/// sysfs takes O_TRUNC and creates no files.
int truncateFile(const char*, off_t, fuse_file_info*) {
    return 0;
}
int createFile(const char*, mode_t, fuse_file_info*) {
    return -EACCES;
}

int controlFile(const char*, unsigned command, void* argument, fuse_file_info* info, unsigned flags, void* data) {
    if ((flags & FUSE_IOCTL_DIR) != 0) return -ENOTTY;
    return handleOf(info).ioctl({fuse_get_context()->pid, command, argument, data});
}

int pollFile(const char*, fuse_file_info* info, fuse_pollhandle* handle, unsigned* events) {
    std::unique_ptr<PollWaiter> waiter;
    if (handle != nullptr) waiter = std::make_unique<FusePollWaiter>(handle);
    *events = handleOf(info).poll(std::move(waiter));
    return 0;
}

void* initialise(fuse_conn_info*, fuse_config* config) {
    // Lines come and go, so nothing about names may be remembered.
    config->entry_timeout = config->attr_timeout = config->negative_timeout = 0;
    config->direct_io = 1;
    config->nullpath_ok = 1;
    return fuse_get_context()->private_data;
}

/// An exception must not pass through libfuse's C frames.
template <auto function> struct Guarded;
template <typename... Arguments, int (*function)(Arguments...)> struct Guarded<function> {
    static int call(Arguments... arguments) {
        try {
            return function(arguments...);
        } catch (const std::bad_alloc&) {
            return -ENOMEM;
        } catch (...) {
            return -EIO;
        }
    }
};

fuse_operations operations() {
    fuse_operations table{};
    table.getattr = Guarded<getAttributes>::call;
    table.opendir = Guarded<openDirectory>::call;
    table.readdir = Guarded<readDirectory>::call;
    table.open = Guarded<openFile>::call;
    table.release = releaseFile;
    table.read = Guarded<readFile>::call;
    table.write = Guarded<writeFile>::call;
    table.truncate = truncateFile;
    table.create = createFile;
    table.ioctl = Guarded<controlFile>::call;
    table.poll = Guarded<pollFile>::call;
    table.init = initialise;
    return table;
}

struct FuseDeleter {
    void operator()(fuse* session) const { fuse_destroy(session); }
};
using FuseSession = std::unique_ptr<fuse, FuseDeleter>;

FuseSession mountedSession(Shared& shared, const std::string& mountPoint) {
    std::string name = "zent-busrig";
    std::string options = "-ofsname=zent-busrig,subtype=busrig";
    std::array<char*, 3> words{name.data(), options.data(), nullptr};
    fuse_args arguments = FUSE_ARGS_INIT(2, words.data());
    const fuse_operations table = operations();
    FuseSession session(fuse_new(&arguments, &table, sizeof table, &shared));
    fuse_opt_free_args(&arguments);
    if (!session) throw std::runtime_error("libfuse does not start");
    if (fuse_mount(session.get(), mountPoint.c_str()) != 0) {
        throw std::runtime_error("FUSE mount on " + mountPoint + " refused: " + strerror(errno));
    }
    return session;
}

/// A held transaction keeps a worker; a test holds two or three at most.
constexpr int workerCount = 8;

} // namespace

struct RigFs::Impl {
    Impl(Rig& sharedRig, const std::string& mountPoint, std::function<void()> whenEnded);
    ~Impl();
    void work();
    /// False when it is time to end.
    bool receive(fuse_buf& request);

    Shared shared;
    const std::function<void()> onEnd;
    const descriptor::Descriptor stopEvent;
    const FuseSession session; // goes before `shared`, which its calls use
    fuse_session* const lowLevel;
    /// Held by the worker that waits for a request and takes it, so that a request wakes one worker, not all of them.
    std::mutex receiving;
    std::vector<std::thread> workers;
};

RigFs::Impl::Impl(Rig& sharedRig, const std::string& mountPoint, std::function<void()> whenEnded)
    : shared{sharedRig, {}},
      onEnd(std::move(whenEnded)),
      stopEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      session(mountedSession(shared, mountPoint)),
      lowLevel(fuse_get_session(session.get())) {
    if (!stopEvent) throw std::runtime_error(std::string("eventfd: ") + strerror(errno));
    const int device = fuse_session_fd(lowLevel);
    ::fcntl(device, F_SETFL, ::fcntl(device, F_GETFL) | O_NONBLOCK); // an aborted request must not block its receiver
    for (int i = 0; i < workerCount; ++i) workers.emplace_back([this] { work(); });
}

RigFs::Impl::~Impl() {
    const uint64_t one = 1;
    if (::write(stopEvent.get(), &one, sizeof one) != sizeof one) std::terminate(); // a fresh counter always takes a 1
    for (std::thread& worker : workers) worker.join();
    fuse_unmount(session.get());
}

void RigFs::Impl::work() {
    fuse_buf request{};
    while (receive(request)) fuse_session_process_buf(lowLevel, &request);
    free(request.mem); // allocated by libfuse
}

bool RigFs::Impl::receive(fuse_buf& request) {
    const std::lock_guard<std::mutex> lock(receiving);
    for (;;) {
        pollfd waits[2] = {{fuse_session_fd(lowLevel), POLLIN, 0}, {stopEvent.get(), POLLIN, 0}};
        if (::poll(waits, 2, -1) < 0 && errno != EINTR) return false;
        if (waits[1].revents != 0) return false;
        const int received = fuse_session_receive_buf(lowLevel, &request);
        if (received > 0) return true;
        if (received == -EINTR || received == -EAGAIN) continue;
        onEnd();
        return false;
    }
}

RigFs::RigFs(Rig& sharedRig, const std::string& mountPoint, std::function<void()> onEnd)
    : impl(std::make_unique<Impl>(sharedRig, mountPoint, std::move(onEnd))) {}

RigFs::~RigFs() = default;

} // namespace busrig
