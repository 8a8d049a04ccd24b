#include "ThreadDump.h"

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <execinfo.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int question = SIGUSR2;
constexpr int maxFrames = 32;

std::atomic<int> answers{0};

pid_t currentThread() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

void say(const char* text) {
    static_cast<void>(!::write(STDERR_FILENO, text, std::strlen(text)));
}

void dumpCaller() {
    char title[48];
    std::snprintf(title, sizeof title, "thread %d:\n", static_cast<int>(currentThread()));
    say(title);
    void* frames[maxFrames];
    backtrace_symbols_fd(frames, backtrace(frames, maxFrames), STDERR_FILENO);
}

void answer(int /*signal*/) {
    dumpCaller();
    ++answers;
}

// A line of /proc/self/task/N/status that is a set of signals.
bool hasQuestion(const char* status, const char* name) {
    const char* const set = std::strstr(status, name);
    return set == nullptr || (std::strtoull(set + std::strlen(name), nullptr, 16) >> (question - 1) & 1) != 0;
}

// One that sleeps and has the signal blocked, as the threads of libraries do, never answers: for it the signal waits.
// One that has got it may sleep as well, with all of them blocked: ThreadSanitizer blocks them while it calls the
// handler. And one that was just started has all of them blocked too, but has yet to run.
bool willAnswer(pid_t thread) {
    char path[48];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/status", static_cast<int>(thread));
    char text[4096] = {};
    const auto file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_RDONLY));
    const long size = syscall(SYS_read, file, text, sizeof text - 1);
    syscall(SYS_close, file);
    const char* const state = size <= 0 ? nullptr : std::strstr(text, "State:\t");
    if (state == nullptr) return false;
    return state[7] != 'S' || !hasQuestion(text, "SigBlk:\t") || !hasQuestion(text, "SigPnd:\t");
}

void ask(pid_t thread) {
    constexpr int patience = 5000; // milliseconds: a busy machine may not let it run before
    const int before = answers;
    if (syscall(SYS_tgkill, getpid(), thread, question) != 0) return;
    for (int i = 0; i < patience && answers == before && willAnswer(thread); ++i) {
        const timespec moment{0, 1000000};
        nanosleep(&moment, nullptr);
    }
}

struct Entry { // getdents64(2)
    std::uint64_t inode;
    std::int64_t offset;
    unsigned short length;
    unsigned char type;
    char name[1];
};

// By system calls alone: the C library's functions for folders allocate.
template <typename Visit> void forEachThread(Visit visit) {
    alignas(Entry) char entries[4096];
    const auto folder = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/proc/self/task", O_RDONLY | O_DIRECTORY));
    for (;;) {
        const long size = syscall(SYS_getdents64, folder, entries, sizeof entries);
        if (size <= 0) break;
        for (long at = 0; at < size;) {
            const auto* const entry = reinterpret_cast<const Entry*>(entries + at);
            visit(static_cast<pid_t>(std::strtol(entry->name, nullptr, 10)));
            at += entry->length;
        }
    }
    syscall(SYS_close, folder);
}

void dumpAll(int /*signal*/) {
    std::signal(SIGABRT, SIG_DFL); // abort() goes on with that
    dumpThreads();
}

} // namespace

void dumpThreads() {
    std::signal(question, &answer);
    dumpCaller();
    forEachThread([](pid_t thread) {
        if (thread > 0 && thread != currentThread()) ask(thread);
    });
}

void dumpThreadsOnAbort() {
    void* frame = nullptr;
    backtrace(&frame, 1); // loads what it needs now
    std::signal(SIGABRT, &dumpAll);
}
