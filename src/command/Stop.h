/// @file
/// Ctrl-C and its like.
#pragma once

#include <chrono>
#include <condition_variable>
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

    /// What requests to the host are to be cancelled by.
    const hostlink::Cancellation& cancellation() const { return requests; }

private:
    void watch();

    hostlink::Cancellation requests;
    mutable std::mutex mutex; ///< guards `requested`
    mutable std::condition_variable changed;
    bool requested = false;
    descriptor::Descriptor signals;
    descriptor::Descriptor over; ///< written when the watcher is to leave
    std::thread watcher;
};

} // namespace command
