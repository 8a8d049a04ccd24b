/// @file
/// What the client's callbacks are told, on its way to the interpreter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include <pybind11/pybind11.h>

#include <descriptor/Descriptor.h>
#include <hostlinkclient/Events.h>

namespace binding {

/// Keeps what is told until a thread of the interpreter takes it. What is told holds no object of the interpreter, so
/// any thread may tell it and let it go.
class Inbox {
public:
    /// Makes an object of what was told; called with the interpreter's lock.
    using Content = std::function<pybind11::object()>;

    /// @throw std::system_error no descriptor to be had
    Inbox();

    /// For `hostlink::Options::events`.
    const hostlink::Events& events() const { return callbacks; }

    /// From a callback of the client, in its loop.
    void put(uint64_t id, Content content);
    /// From any thread; the oldest goes when there are too many.
    void log(int level, const std::string& line);

    /// Waits until something was told.
    /// @return pairs of an id and what was told; None after `stop()`
    pybind11::object take();
    void stop();

    /// The id under which log lines are told.
    static constexpr uint64_t logLines = 0;

private:
    struct Told {
        uint64_t id;
        Content content;
    };

    void wake() const;
    void wait() const;

    const hostlink::Events callbacks;
    const descriptor::Descriptor wakeup;
    std::mutex mutex;
    std::deque<Told> told;  // guarded by the mutex
    std::size_t logged = 0; // log lines among them
    bool isStopped = false; // guarded by it too
};

} // namespace binding
