/// @file
/// A thread on which one machine lives.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include <exchange/ExchangeTime.h>

#include "hostlinkclient/session/WakeEvent.h"

namespace hostlink {

/// What happens is handed to the thread as tasks. After each, when its descriptor is readable, and when the time has
/// come that it asked for, it calls `turn`. Sleeps in the kernel in between.
class Pump {
public:
    using Task = std::function<void()>;
    /// Gives when it is to be called next; none when no time matters.
    using Turn = std::function<std::optional<exchange::Time>(exchange::Time now)>;

    /// The time as machines have it.
    static exchange::Time now() { return std::chrono::steady_clock::now().time_since_epoch(); }

    /// @throw std::system_error no descriptor to be had
    Pump() = default;
    Pump(const Pump&) = delete;
    Pump& operator=(const Pump&) = delete;
    /// As `stop()`. Not on the thread itself.
    ~Pump();

    /// @param readable a descriptor; -1 for none
    /// @throw std::system_error no thread to be had
    void start(Turn turn, int readable = -1);
    /// Any thread. Dropped after the end.
    void post(Task task);
    /// The thread ends after what it does now. Any thread, its own too.
    void end();
    /// Lets it do what it was given, ends it and waits for it, as `stop()`.
    void finish();
    /// Ends it and waits for it; on the thread itself it does not wait. Any thread.
    void stop();

private:
    void run(const Turn& turn, int readable);
    bool takeTasks(std::deque<Task>& into);
    void join();

    const WakeEvent event; // there is something that the thread has not looked at yet
    std::mutex mutex;      // guards the two below
    std::deque<Task> tasks;
    bool ending = false;
    std::mutex joining; // guards the thread as it is joined
    std::thread thread;
    std::atomic<std::thread::id> runsOn{}; // set by the thread itself
};

} // namespace hostlink
