#include "RigSandbox.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <descriptor/Descriptor.h>

#include "SandboxMounts.h"

// Processes: the launcher (the caller, outside), the first process of the new process namespace, and below it the rig
// and the command. Each dies with its parent: the kernel kills the first process when the launcher ends, and the whole
// namespace with its mounts when the first process ends.

namespace busrig {

namespace {

using descriptor::Descriptor;
using descriptor::repeatInterrupted;

/// The rig itself failed, not the machine.
class BrokenRig : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

constexpr std::chrono::seconds rigEndTimeout{60}; // sanitizers take their time to report, on a busy machine, too

struct Pipe {
    Pipe() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) fail("pipe");
        readEnd = Descriptor(ends[0]);
        writeEnd = Descriptor(ends[1]);
    }
    Descriptor readEnd;
    Descriptor writeEnd;
};

int reportSkip(const CannotRun& reason) {
    fprintf(stderr, "the bus rig cannot run here: %s\n", reason.what());
    return skipExitCode;
}

std::string fuseNode() {
    const char* other = getenv("ZENT_RIG_FUSE_NODE");
    return other != nullptr ? other : "/dev/fuse";
}

void checkFuseNode() {
    if (!Descriptor(::open(fuseNode().c_str(), O_RDWR | O_CLOEXEC))) fail("open " + fuseNode());
}

void writeWhole(const char* path, const std::string& text) {
    const Descriptor file(::open(path, O_WRONLY | O_CLOEXEC));
    if (!file || ::write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        fail(std::string("write ") + path);
    }
}

void enterNamespaces() {
    const uid_t user = ::geteuid();
    const gid_t group = ::getegid();
    if (user == 0 && ::unshare(CLONE_NEWNS | CLONE_NEWPID) == 0) return;
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWPID) != 0) fail("unshare namespaces");
    writeWhole("/proc/self/setgroups", "deny");
    writeWhole("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    writeWhole("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

int exitCodeOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Kills this process when its parent ends, also when that has happened already: the parent holds the other end.
void dieWithParent(int parentsEnd) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    pollfd parent{parentsEnd, 0, 0};
    if (::poll(&parent, 1, 0) != 0) ::_exit(skipExitCode);
}

[[noreturn]] void execute(const std::vector<std::string>& words) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    const int reason = errno;
    fprintf(stderr, "%s: %s\n", arguments[0], strerror(reason));
    ::_exit(reason == ENOENT ? 127 : 126); // as a shell does
}

[[noreturn]] void executeServer(std::vector<std::string> words, int readyEnd) {
    ::setsid(); // the terminal's Ctrl-C is for the command
    const Descriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    ::dup2(null.get(), STDIN_FILENO);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    ::fcntl(readyEnd, F_SETFD, 0);
    words.insert(words.end(), {sandboxMountPoint, sandboxControlPath, std::to_string(readyEnd)});
    execute(words);
}

int waitFor(pid_t child) {
    int status = 0;
    const pid_t ended = repeatInterrupted([&] { return ::waitpid(child, &status, 0); });
    return ended < 0 ? 1 : exitCodeOf(status);
}

/// The rig as seen by the first process.
struct RigProcess {
    pid_t process;
    std::optional<int> exitCode; ///< once it has ended
};

/// Waits for the command. Reaps what ends meanwhile: the command's orphans, and the rig when it ends too early.
int waitForCommand(pid_t command, RigProcess& rig) {
    for (;;) {
        int status = 0;
        const pid_t ended = ::wait(&status);
        if (ended == rig.process) rig.exitCode = exitCodeOf(status);
        if (ended == command) return exitCodeOf(status);
        if (ended < 0 && errno != EINTR) return 1;
    }
}

pid_t startRig(const SandboxCommand& command, const sigset_t& callersMask) {
    Pipe ready;
    const pid_t rig = ::fork();
    if (rig < 0) fail("fork");
    if (rig == 0) {
        ::sigprocmask(SIG_SETMASK, &callersMask, nullptr);
        executeServer(command.server, ready.writeEnd.get());
    }
    ready.writeEnd.reset();
    char byte = 0;
    if (repeatInterrupted([&] { return ::read(ready.readEnd.get(), &byte, 1); }) == 1) return rig;
    const int result = waitFor(rig);
    if (result == skipExitCode) throw CannotRun("the file system is not to be had");
    throw BrokenRig("does not start, exit code " + std::to_string(result));
}

/// The rig's exit code; 0 when it ended in good order.
int stopRig(const RigProcess& rig) {
    if (rig.exitCode) return *rig.exitCode != 0 ? *rig.exitCode : 1; // nobody told it to end
    ::kill(rig.process, SIGTERM);
    sigset_t childEnds;
    sigemptyset(&childEnds);
    sigaddset(&childEnds, SIGCHLD); // blocked since before the rig was started
    const auto deadline = std::chrono::steady_clock::now() + rigEndTimeout;
    for (;;) {
        int status = 0;
        const pid_t ended = ::waitpid(rig.process, &status, WNOHANG);
        if (ended == rig.process) return exitCodeOf(status);
        if (ended < 0) return 1;
        const auto left = deadline - std::chrono::steady_clock::now();
        if (left <= left.zero()) break;
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        const auto rest = std::chrono::duration_cast<std::chrono::nanoseconds>(left - seconds);
        const timespec timeout{seconds.count(), rest.count()};
        ::sigtimedwait(&childEnds, nullptr, &timeout);
    }
    fprintf(stderr, "bus rig: does not end, killed\n");
    return 1;
}

void blockChildSignal(sigset_t& before) {
    sigset_t childEnds;
    sigemptyset(&childEnds);
    sigaddset(&childEnds, SIGCHLD);
    ::sigprocmask(SIG_BLOCK, &childEnds, &before);
}

/// The life of the first process of the namespace; the result is its exit code.
int runInside(const SandboxCommand& command) {
    sigset_t callersMask;
    blockChildSignal(callersMask);
    makeMountsPrivate();
    mountPrivateDev(fuseNode());
    RigProcess rig{startRig(command, callersMask), std::nullopt};
    showRigFiles();
    mountProc();
    const pid_t program = ::fork();
    if (program < 0) fail("fork");
    if (program == 0) {
        ::sigprocmask(SIG_SETMASK, &callersMask, nullptr);
        setenv("ZENT_RIG_CONTROL", sandboxControlPath, 1);
        execute(command.words);
    }
    const int result = waitForCommand(program, rig);
    const int rigResult = stopRig(rig);
    if (rigResult == 0 || result != 0) return result;
    fprintf(stderr, "bus rig: ended with exit code %d\n", rigResult);
    return brokenRigExitCode;
}

} // namespace

int runInSandbox(const SandboxCommand& command) try {
    checkFuseNode();
    enterNamespaces();
    Pipe life;
    const pid_t first = ::fork();
    if (first < 0) fail("fork");
    if (first == 0) {
        life.writeEnd.reset();
        dieWithParent(life.readEnd.get());
        try {
            ::_exit(runInside(command));
        } catch (const CannotRun& reason) {
            ::_exit(reportSkip(reason));
        } catch (const BrokenRig& reason) {
            fprintf(stderr, "bus rig: %s\n", reason.what());
            ::_exit(brokenRigExitCode);
        }
    }
    // Ctrl-C is the command's business; the launcher stays to pass its exit code on.
    ::signal(SIGINT, SIG_IGN);
    ::signal(SIGQUIT, SIG_IGN);
    return waitFor(first);
} catch (const CannotRun& reason) {
    return reportSkip(reason);
}

} // namespace busrig
