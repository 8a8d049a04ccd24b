/// @file
/// A subscriber and how it is told.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "hostlinkclient/Subscription.h"
#include "hostlinkclient/machines/ChangeQueue.h"
#include "hostlinkclient/session/EventQueue.h"

namespace hostlink {

class Core;

/// Shared by the handle, the core and who tells: a thread of its own, or the program's loop, in which at most one task
/// of it waits. Its lock is taken inside that of the core, never the other way round.
struct HOSTLINK_HIDDEN Subscription::State : std::enable_shared_from_this<Subscription::State> {
    State(std::weak_ptr<Core> at, uint64_t number, std::optional<Failure> problem, Keep keep,
          std::function<void(const Change&)> told, const std::shared_ptr<Events::Queue>& in);
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State();

    /// Starts the thread, where it has one.
    /// @throw std::system_error there is none to be had
    void start();
    /// Puts a change behind the others. Any thread; does not block.
    void push(Change change);
    /// No callback begins any more, and one that runs on another thread is waited for.
    void stop();
    /// Whether its thread has ended.
    bool isOver() const;
    /// Whether this is the thread of its own.
    bool isOnItsThread() const { return thread.get_id() == std::this_thread::get_id(); }
    uint64_t missed() const;

    const std::weak_ptr<Core> core;
    const uint64_t id;                  ///< at the core
    const std::optional<Failure> wrong; ///< why it was not asked for

private:
    void run();
    void postIfNeeded();
    void runInLoop();

    const std::function<void(const Change&)> callback;
    const bool isInLoop;                     // else it has a thread of its own
    const std::weak_ptr<Events::Queue> loop; // which holds the tasks, and they this; the core keeps it alive
    mutable std::mutex mutex;                // guards the queue and the flags
    std::condition_variable changed;
    ChangeQueue queue;
    bool ended = false;
    bool over = false;
    bool isPosted = false;                   // a task waits in the loop
    std::optional<std::thread::id> toldOn{}; // where the callback runs in the loop, while it does
    std::mutex stopping;                     // one stop() at a time
    std::thread thread;                      // start() and stop()
};

} // namespace hostlink
