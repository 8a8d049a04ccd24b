/// @file
/// How a request to the host can end.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <hostlink/HostLinkExport.h>

namespace hostlink {

struct StateValue;

/// How a request ended. Only `Done` is a success; what each of the others means for the host is in its comment.
enum class Outcome {
    Done,         ///< the host answered as asked
    NotSent,      ///< the host's link refused the message each time; the host has not acted on it
    Unanswered,   ///< sent, and no answer came: the host may have acted on it
    Unsupported,  ///< the host says that it does not support the request, or could not read it
    WithoutState, ///< the host answered without the state that was asked for
    HoldsAnother, ///< the host answered that it holds another value than the one set
    LinkDown,     ///< there is no link to the host; nothing was sent
    Cancelled,    ///< the request was cancelled or the client ended; `mayHaveBeenExecuted()` says how far it came
    TimedOutBeforeSending, ///< the deadline passed while the request waited for its turn; nothing was sent
    BadArgument,           ///< the request cannot be asked like that; nothing was sent
    Aborted                ///< the host has ended the transfer, or has lost it
};

/// The enumerator's name.
HOSTLINK_EXPORT const char* nameOf(Outcome outcome);

/// What went wrong with a request, and what to do about it. A value that is cheap to copy.
class HOSTLINK_EXPORT Failure {
public:
    Failure(Outcome outcome, std::string text);
    /// @param held values that the host says it holds
    Failure(Outcome outcome, std::string text, bool mayHaveBeenExecuted, int refusals, std::vector<StateValue> held);
    Failure(const Failure& other);
    Failure(Failure&& other) noexcept;
    Failure& operator=(const Failure& other);
    Failure& operator=(Failure&& other) noexcept;
    ~Failure();

    Outcome outcome() const;
    /// What was asked, what happened and what to do, for people.
    const std::string& text() const;
    /// Whether the host may have acted on the request. False: it has not.
    bool mayHaveBeenExecuted() const;
    /// How many times the host's link refused a packet of the request.
    int refusals() const;
    /// For `HoldsAnother` and `WithoutState`: what the host's answer said.
    const std::vector<StateValue>& held() const;

private:
    struct Data;
    std::shared_ptr<const Data> data;
};

/// What `orThrow()` and `value()` of a failed result throw; `what()` is the failure's text.
class HOSTLINK_EXPORT FailedRequest : public std::runtime_error {
public:
    explicit FailedRequest(Failure why);
    FailedRequest(const FailedRequest& other);
    ~FailedRequest() override;

    const Failure& failure() const { return reason; }

private:
    Failure reason;
};

} // namespace hostlink
