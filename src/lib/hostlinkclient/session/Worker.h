/// @file
/// A thread that does what it is given.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "hostlinkclient/machines/Question.h"
#include "hostlinkclient/session/WakeEvent.h"

namespace hostlink {

/// A thread with a queue of tasks, timers, and one descriptor whose hang-up it tells. Sleeps in the kernel, without a
/// time-out when no timer is set. Any thread may call.
class Worker {
public:
    using Task = std::function<void()>;
    using Timer = std::pair<Time, uint64_t>;

    /// @param whenCalled what `callAt` asks for
    /// @throw std::system_error no thread or no descriptor to be had
    explicit Worker(Task whenCalled = nullptr);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    /// As `stop()`.
    ~Worker();

    /// Does the task behind those that wait already. After `stop()` it is dropped.
    void post(Task task);
    /// Does the task at that time.
    Timer postAt(Time when, Task task);
    /// Calls what the constructor was given, once, at the earliest of the times that are asked for until then. Takes no
    /// memory.
    void callAt(Time when);
    /// The task is not begun any more.
    void cancel(const Timer& timer);
    /// Calls `hungUp` once, when the far end of the descriptor goes. Replaces what was watched; −1 watches nothing, and
    /// once that has returned the thread does not look at the former descriptor any more: the caller may close it.
    void watch(int descriptor, Task hungUp);

    /// Ends the thread: the task that is running is waited for, the others are dropped. From a task, the thread ends
    /// after that one, and who calls from elsewhere later waits for it; one call at a time.
    void stop();
    /// Whether a task asks.
    bool isItsThread() const { return thread.get_id() == std::this_thread::get_id(); }

private:
    void run();
    std::deque<Task> takeDue();
    void sleep();

    const Task called;
    const WakeEvent event;    // there is something that the thread has not looked at yet
    mutable std::mutex mutex; // guards all below but the thread
    std::condition_variable watchChanged;
    std::deque<Task> tasks;
    std::map<Timer, Task> timers;
    uint64_t lastTimer = 0;
    std::optional<Time> callTime;
    int watched = -1;
    Task onHangUp;
    uint64_t watches = 0; // how often `watched` was set
    uint64_t polling = 0; // with which of them the thread may be asleep; 0 when it is awake
    bool ending = false;
    std::thread thread;
};

} // namespace hostlink
