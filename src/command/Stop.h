/// @file
/// Ctrl-C and its like.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include <descriptor/Descriptor.h>
#include <hostlinkclient/Call.h>

namespace command {

/// Takes SIGINT, SIGTERM and SIGHUP: requests end, and whoever waits goes on. To be made while the program has one
/// thread only, since those made before would still be killed by the signals. A second signal ends the program at once.
class Stop {
public:
    /// @throw std::system_error no descriptor or thread is to be had
    Stop();
    ~Stop();
    Stop(const Stop&) = delete;
    Stop& operator=(const Stop&) = delete;

    /// Ends it as a signal does. Any thread.
    void request();
    bool isRequested() const;
    /// Waits until it is to end. Any thread.
    void wait() const;
    /// The same, no longer than this; whether it is to end.
    bool waitFor(std::chrono::milliseconds time) const;

    /// Readable once it is to end. Any thread.
    int descriptor() const { return ending.get(); }
    /// What is done right before a second signal ends the program; empty: nothing. On a thread of its own, while the
    /// others run on. Any thread.
    void beforeSuddenEnd(std::function<void()> act);

    /// What requests to the host are to be cancelled by.
    const hostlink::Cancellation& cancellation() const { return requests; }

private:
    void watch();
    [[noreturn]] void endSuddenly(int signal);

    hostlink::Cancellation requests;
    mutable std::mutex mutex; ///< guards `requested` and `lastAct`
    mutable std::condition_variable changed;
    bool requested = false;
    std::function<void()> lastAct;
    descriptor::Descriptor signals;
    descriptor::Descriptor ending; ///< written when it is to end
    descriptor::Descriptor over;   ///< written when the watcher is to leave
    std::thread watcher;
};

} // namespace command
