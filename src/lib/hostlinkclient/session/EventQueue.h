/// @file
/// Callbacks that wait for the program's loop.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

#include "hostlinkclient/Events.h"
#include "hostlinkclient/session/WakeEvent.h"

namespace hostlink {

/// Shared by the program's handles and the clients.
class HOSTLINK_HIDDEN Events::Queue {
public:
    using Task = std::function<void()>;

    /// Puts a task behind the others. Any thread, with any lock of the client: none is taken in here but the queue's
    /// own.
    void post(Task task);
    /// As `Events::dispatch`.
    std::size_t dispatch();
    int descriptor() const { return event.descriptor(); }

private:
    std::size_t begin();
    void take(Task& into);
    void end();

    const WakeEvent event; // set as long as tasks wait
    std::mutex mutex;      // guards the two below
    std::deque<Task> tasks;
    bool isDispatching = false;
};

} // namespace hostlink
