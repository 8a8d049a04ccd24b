/// @file
/// One thread tells another that something has happened.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// Raised or not; stays raised for all who wait, until it is lowered. Any thread. Allocates nothing.
class Signal {
public:
    void raise() {
        const std::lock_guard lock(mutex);
        raised = true;
        changed.notify_all(); // under the lock: the one who waits may destroy this as soon as it wakes
    }
    void lower() {
        const std::lock_guard lock(mutex);
        raised = false;
    }
    /// False when the time is over before.
    bool wait(std::chrono::milliseconds limit) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, limit, [this] { return raised; });
    }

private:
    std::mutex mutex; // guards raised
    std::condition_variable changed;
    bool raised = false;
};
