#include "Interpreter.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <unistd.h>

namespace binding {

namespace {

constexpr std::chrono::seconds longestReturn{10}; // all that they wait for has been ended

// Never destroyed: threads may stand in it while the process ends.
struct Count {
    std::mutex mutex;
    std::condition_variable changed;
    unsigned outside = 0;     // guarded by the mutex
    bool isExiting = false;   // as is this
    std::thread::id whoExits; // and this

    bool mayGoOn() const { return !isExiting || whoExits == std::this_thread::get_id(); }
};

Count* current = new Count; // replaced by forget() alone, in a process with one thread

void standStill() {
    for (;;) ::pause();
}

} // namespace

void Outside::enter() {
    {
        const std::lock_guard lock(current->mutex);
        if (current->mayGoOn()) {
            ++current->outside;
            return;
        }
    }
    standStill();
}

void Outside::leave() {
    {
        const std::lock_guard lock(current->mutex);
        --current->outside;
        current->changed.notify_all();
        if (current->mayGoOn()) return;
    }
    standStill();
}

void Outside::beginExit() {
    const std::lock_guard lock(current->mutex);
    current->isExiting = true;
    current->whoExits = std::this_thread::get_id();
}

void Outside::awaitOthers() {
    PyThreadState* const state = PyEval_SaveThread();
    {
        std::unique_lock lock(current->mutex);
        current->changed.wait_for(lock, longestReturn, [] { return current->outside == 0; });
    }
    PyEval_RestoreThread(state);
}

// What was there may be locked, for good.
void Outside::forget() {
    current = new Count; // NOLINT(cppcoreguidelines-owning-memory): see above
}

} // namespace binding
