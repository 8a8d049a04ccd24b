#include "ProcessWatch.h"

#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "Pause.h"

namespace {

std::string taskFile(pid_t thread, const char* name) {
    return "/proc/self/task/" + std::to_string(thread) + "/" + name;
}

// The kernel's numbers.
struct SystemCalls {
    long poll, ppoll, futex, restart;
};
#ifdef SYS_poll
constexpr SystemCalls ownCalls{SYS_poll, SYS_ppoll, SYS_futex, SYS_restart_syscall};
#else
constexpr SystemCalls ownCalls{SYS_ppoll, SYS_ppoll, SYS_futex, SYS_restart_syscall};
#endif

#ifdef ZENT_EMULATED_ON_X86_64
// Under an emulator of programs the kernel is the machine's below, whose processors have a vendor; a real one of this
// architecture names none.
bool isEmulated() {
    std::ifstream processors("/proc/cpuinfo");
    for (std::string word; processors >> word;)
        if (word == "vendor_id") return true;
    return false;
}
const SystemCalls calls = isEmulated() ? SystemCalls{7, 271, 202, 219} : ownCalls;
#else
constexpr SystemCalls calls = ownCalls;
#endif

// What a call was whose process has been stopped or frozen meanwhile: it goes on under another number, with its own
// arguments. Poll begins with an address and a number of descriptors, a futex with an address and an operation whose
// higher bits say how it waits, a sleep with the number of a clock.
long restartedCall(std::istream& arguments) {
    constexpr unsigned long addresses = 4096;
    constexpr unsigned long mostDescriptors = 16;
    std::string first;
    std::string second;
    if (!(arguments >> first >> second) || std::stoul(first, nullptr, 16) < addresses) return -1;
    return std::stoul(second, nullptr, 16) <= mostDescriptors ? calls.poll : calls.futex;
}

// The file begins with the number of the system call in which the thread sleeps, and says "running" when it does not.
long systemCallOf(pid_t thread) {
    std::ifstream file(taskFile(thread, "syscall"));
    long number = -1;
    if (!(file >> number)) return -1;
    return number == calls.restart ? restartedCall(file) : number;
}

bool waitUntil(bool (*condition)(pid_t), pid_t thread, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition(thread)) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        pauseBetweenLooks();
    }
    return true;
}

} // namespace

std::set<int> openDescriptors() {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir("/proc/self/fd"), &::closedir);
    if (!folder) throw std::runtime_error("cannot list /proc/self/fd");
    std::set<int> numbers;
    while (const dirent* entry = ::readdir(folder.get()))
        if (entry->d_name[0] != '.') numbers.insert(std::stoi(entry->d_name));
    numbers.erase(::dirfd(folder.get()));
    return numbers;
}

pid_t currentThread() {
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

bool sleepsInPoll(pid_t thread) {
    const long call = systemCallOf(thread);
    return call == calls.poll || call == calls.ppoll;
}

bool sleepsOnFutex(pid_t thread) {
    return systemCallOf(thread) == calls.futex;
}

bool waitUntilPolling(pid_t thread, std::chrono::milliseconds limit) {
    return waitUntil(&sleepsInPoll, thread, limit);
}

bool waitUntilOnFutex(pid_t thread, std::chrono::milliseconds limit) {
    return waitUntil(&sleepsOnFutex, thread, limit);
}

std::chrono::nanoseconds waitedForProcessor(pid_t process) {
    std::chrono::nanoseconds all{};
    const std::string tasks = "/proc/" + std::to_string(process) + "/task";
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(tasks.c_str()), &::closedir);
    while (const dirent* entry = folder ? ::readdir(folder.get()) : nullptr) {
        std::ifstream file(tasks + "/" + entry->d_name + "/schedstat");
        long long ran = 0; // nanoseconds, both
        long long waited = 0;
        if (file >> ran >> waited) all += std::chrono::nanoseconds(waited);
    }
    return all;
}

long voluntarySwitches(pid_t thread) {
    const std::string key = "voluntary_ctxt_switches:";
    std::ifstream file(taskFile(thread, "status"));
    for (std::string word; file >> word;) {
        long count = 0;
        if (word == key && file >> count) return count;
    }
    throw std::runtime_error("no count of context switches for thread " + std::to_string(thread));
}
