#include "LinkThreads.h"

#include <chrono>
#include <filesystem>
#include <string>

#include "Pause.h"
#include "ProcessWatch.h"

namespace {

constexpr std::chrono::seconds patience{20};

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

bool NewThreads::haveGone() const {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!ids().empty()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        pauseBetweenLooks();
    }
    return true;
}

pid_t NewThreads::find(bool (*condition)(pid_t)) const {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    do {
        for (const pid_t id : ids())
            if (condition(id)) return id;
        pauseBetweenLooks();
    } while (std::chrono::steady_clock::now() < deadline);
    return -1;
}

pid_t NewThreads::polling() const {
    return find(sleepsInPoll);
}

pid_t NewThreads::waiting() const {
    return find(sleepsOnFutex);
}
