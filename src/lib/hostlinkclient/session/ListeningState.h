/// @file
/// Somebody who listens, and whether he is being told.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "hostlinkclient/Subscription.h"

namespace hostlink {

/// Shared by the handle and the calls that are on their way. One call at a time.
struct HOSTLINK_HIDDEN Listening::State {
    /// No call begins any more, and one that runs on another thread is waited for.
    void end();
    /// Does the task, unless it has ended.
    void call(const std::function<void()>& task);

    std::mutex mutex; // guards all below; never held while calling
    std::condition_variable left;
    std::shared_ptr<void> handle; // what it has at the core
    bool ended = false;
    bool isRunning = false;
    std::thread::id runs;
};

} // namespace hostlink
