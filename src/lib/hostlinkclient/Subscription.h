/// @file
/// Being told by the host.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include <hostlink/HostLinkExport.h>
#include <hostlinkclient/Change.h>

namespace hostlink {

/// What is kept for a subscriber whose callback is slower than the host.
class Keep {
public:
    /// The newest `count` changes; the oldest is dropped when there are more.
    static Keep newest(std::size_t count) { return Keep(count); }
    /// Only the latest value of each state.
    static Keep latest() { return Keep(0); }

    bool onlyLatest() const { return count == 0; }
    std::size_t capacity() const { return count; }

private:
    explicit Keep(std::size_t capacity) : count(capacity) {}
    std::size_t count;
};

/// A subscription; ends when it is destroyed. Movable; outliving its client is allowed. Any thread, one at a time.
///
/// Destroying it waits for a callback that is running, unless it is destroyed by that callback itself. It does not wait
/// for the host.
class HOSTLINK_EXPORT Subscription {
public:
    Subscription();
    Subscription(Subscription&& other) noexcept;
    Subscription& operator=(Subscription&& other) noexcept;
    ~Subscription();

    /// Waits until the host has confirmed all its states.
    /// @return `Unsupported` when the host does not support the subscription, `Cancelled` after its end,
    ///         `BadArgument` when it could not be asked for, `LinkDown` or `Unanswered` when the host has not confirmed
    ///         by then; the client goes on trying
    Result<void> established(std::chrono::milliseconds within) const;

    /// The value that the host told last; none when there was none yet, or it is not one of the states.
    std::optional<Value> last(const StateId& of) const;

    /// How many changes were dropped because the callback was too slow.
    uint64_t missed() const;

    /// Ends it now.
    void end();

    struct State;
    /// For the library's own use.
    explicit Subscription(std::shared_ptr<State> with);

private:
    std::shared_ptr<State> state;
};

/// Listens until it is destroyed, which waits for a callback that is running, unless it is destroyed by that callback
/// itself. Movable; outliving its client is allowed.
class HOSTLINK_EXPORT Listening {
public:
    Listening();
    Listening(Listening&& other) noexcept;
    Listening& operator=(Listening&& other) noexcept;
    ~Listening();

    void end();

    struct State;
    /// For the library's own use.
    explicit Listening(std::shared_ptr<State> with);

private:
    std::shared_ptr<State> state;
};

} // namespace hostlink
