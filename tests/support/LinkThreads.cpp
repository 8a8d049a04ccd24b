#include "LinkThreads.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <sys/syscall.h>

namespace {

constexpr std::chrono::seconds patience{20};

// The system call in which the thread sleeps; -1 when it does not.
long systemCallOf(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/syscall");
    long number = -1;
    return file >> number ? number : -1;
}

} // namespace

std::set<pid_t> threadIds() {
    std::set<pid_t> ids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        ids.insert(static_cast<pid_t>(std::stoi(entry.path().filename().string())));
    return ids;
}

std::vector<pid_t> NewThreads::ids() const {
    std::vector<pid_t> found;
    for (const pid_t id : threadIds())
        if (before.count(id) == 0) found.push_back(id);
    return found;
}

template <typename Condition> pid_t NewThreads::find(Condition condition) const {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    do {
        for (const pid_t id : ids())
            if (condition(systemCallOf(id))) return id;
        std::this_thread::yield();
    } while (std::chrono::steady_clock::now() < deadline);
    return -1;
}

pid_t NewThreads::polling() const {
    return find([](long call) {
#ifdef SYS_poll
        if (call == SYS_poll) return true;
#endif
        return call == SYS_ppoll;
    });
}

pid_t NewThreads::waiting() const {
    return find([](long call) { return call == SYS_futex; });
}
