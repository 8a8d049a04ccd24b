/// @file
/// How one request is to be made.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include <hostlink/HostLinkExport.h>

namespace hostlink {

/// What a request does while there is no link.
enum class WhileDown {
    Fail, ///< ends with `LinkDown`
    Wait  ///< waits for the link until its deadline
};

/// Asks for a set that reads the state back: `host.set(STA_PlayerVolume, 30, hostlink::Confirm)`.
struct ConfirmTag {};
inline constexpr ConfirmTag Confirm{};

/// Ends requests early: give it to any number of calls with `Call::cancelledBy`. Any thread; copies are one.
class HOSTLINK_EXPORT Cancellation {
public:
    Cancellation();
    Cancellation(const Cancellation& other);
    Cancellation& operator=(const Cancellation& other);
    ~Cancellation();

    /// Ends the requests that bear this, and those that are made with it later, as `Cancelled`.
    void cancel();

    struct State;
    /// For the library's own use.
    const std::shared_ptr<State>& shared() const { return state; }

private:
    std::shared_ptr<State> state;
};

/// How one request is made; what is not said is as the client's options have it. An ordinary value.
class Call {
public:
    Call() = default;
    Call(ConfirmTag) : confirm(true) {} // `Confirm` alone is a way to call

    /// Ends the request after this time, whatever has come of it by then.
    Call& within(std::chrono::milliseconds time) {
        limit = time;
        return *this;
    }
    /// A set reads the state back, and is repeated within the deadline until the host holds the value.
    Call& confirmed() {
        confirm = true;
        return *this;
    }
    Call& whileDown(WhileDown what) {
        down = what;
        return *this;
    }
    Call& cancelledBy(const Cancellation& by) {
        cancellation = by.shared();
        return *this;
    }

    const std::optional<std::chrono::milliseconds>& deadline() const { return limit; }
    bool isConfirmed() const { return confirm; }
    const std::optional<WhileDown>& doesWhileDown() const { return down; }
    const std::shared_ptr<Cancellation::State>& isCancelledBy() const { return cancellation; }

private:
    std::optional<std::chrono::milliseconds> limit;
    std::optional<WhileDown> down;
    std::shared_ptr<Cancellation::State> cancellation;
    bool confirm = false;
};

} // namespace hostlink
