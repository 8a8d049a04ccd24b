#include "SharedUart.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

namespace {

// How long `destroy` gives a thread to get from its announcement into the port: a few instructions, unless the thread
// is preempted there. A port whose calls do not sleep for longer than this is destroyed all the same.
constexpr std::chrono::milliseconds entryLimit{500};
constexpr std::chrono::milliseconds entryPoll{1};

pid_t currentThread() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

// Whether the thread waits in the kernel: state "S" in proc(5)'s stat, the field behind the name in parentheses.
bool isAsleep(pid_t thread) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", static_cast<int>(thread));
    std::FILE* file = std::fopen(path, "re");
    if (file == nullptr) return false;
    char state = 0;
    const bool read = std::fscanf(file, "%*d (%*[^)]) %c", &state) == 1;
    std::fclose(file);
    return read && state == 'S';
}

} // namespace

SharedUart::Use::Use(SharedUart& of) : shared(of), uart(nullptr) {
    const std::lock_guard lock(shared.mutex);
    if (!shared.current) return;
    shared.users.push_back(currentThread());
    uart = shared.current.get();
}

SharedUart::Use::~Use() {
    if (uart == nullptr) return;
    const std::lock_guard lock(shared.mutex);
    shared.users.erase(std::find(shared.users.begin(), shared.users.end(), currentThread()));
    shared.userLeft.notify_all();
}

SharedUart::~SharedUart() = default;

void SharedUart::set(std::unique_ptr<Uart> port) {
    destroy();
    const std::lock_guard lock(mutex);
    current = std::move(port);
}

bool SharedUart::isPresent() const {
    const std::lock_guard lock(mutex);
    return current != nullptr;
}

void SharedUart::destroy() {
    std::unique_lock lock(mutex);
    const std::unique_ptr<Uart> going = std::move(current);
    if (going) awaitUsersInside(lock);
    lock.unlock(); // the port's destructor waits for the threads inside, and they take the lock as they leave
}

void SharedUart::awaitUsersInside(std::unique_lock<std::mutex>& lock) {
    const auto deadline = std::chrono::steady_clock::now() + entryLimit;
    while (!allUsersSleep() && std::chrono::steady_clock::now() < deadline) userLeft.wait_for(lock, entryPoll);
}

bool SharedUart::allUsersSleep() const {
    return std::all_of(users.begin(), users.end(), isAsleep);
}
