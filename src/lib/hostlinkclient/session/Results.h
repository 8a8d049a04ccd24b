/// @file
/// Results on their way to the program's callbacks.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace hostlink {

/// Sees to it that each callback of a request is called once: as long as the client lives by whoever does that, what is
/// left then by who ends it. Any thread may call.
class Results : public std::enable_shared_from_this<Results> {
public:
    using Task = std::function<void()>;

    /// What stands for a callback from the request's beginning to its result. Destroyed without one it is owed no more.
    class Owed {
    public:
        explicit Owed(std::shared_ptr<Results> by) : results(std::move(by)) {}
        Owed(const Owed&) = delete;
        Owed& operator=(const Owed&) = delete;
        ~Owed() {
            if (results) results->settle({});
        }
        /// The callback with its result.
        void is(Task task) { std::exchange(results, nullptr)->settle(std::move(task)); }

    private:
        std::shared_ptr<Results> results;
    };

    /// Before a request begins; null when the end has begun.
    std::shared_ptr<Owed> owe() {
        const std::lock_guard lock(mutex);
        if (isOver) return nullptr;
        auto made = std::make_shared<Owed>(shared_from_this()); // without memory for it nothing is owed
        ++owed;
        return made;
    }

    /// Tells the result that has waited longest, if there is one.
    void tellNext() {
        Task task;
        {
            const std::lock_guard lock(mutex);
            if (waiting.empty()) return;
            task = std::move(waiting.front());
            waiting.pop_front();
        }
        task();
    }

    /// Nothing new is owed from now on.
    void beginEnd() {
        const std::lock_guard lock(mutex);
        isOver = true;
    }
    /// After that: waits for the results of what is owed.
    /// @return those that have not been told
    std::deque<Task> takeRest() {
        std::unique_lock lock(mutex);
        settled.wait(lock, [this] { return owed == 0; });
        return std::exchange(waiting, {});
    }

private:
    void settle(Task task) {
        const std::lock_guard lock(mutex);
        if (--owed == 0) settled.notify_all(); // also when there is no memory for the task
        if (task) waiting.push_back(std::move(task));
    }

    std::mutex mutex; // guards all below; never held while calling
    std::condition_variable settled;
    std::deque<Task> waiting;
    size_t owed = 0;
    bool isOver = false;
};

} // namespace hostlink
