#include "hostlinkclient/Outcome.h"

#include <utility>

#include "hostlinkclient/Value.h"

namespace hostlink {

struct HOSTLINK_HIDDEN Failure::Data {
    Outcome outcome;
    std::string text;
    bool mayHaveBeenExecuted;
    int refusals;
    std::vector<StateValue> held;
};

const char* nameOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::Done: return "Done";
    case Outcome::NotSent: return "NotSent";
    case Outcome::Unanswered: return "Unanswered";
    case Outcome::Unsupported: return "Unsupported";
    case Outcome::WithoutState: return "WithoutState";
    case Outcome::HoldsAnother: return "HoldsAnother";
    case Outcome::LinkDown: return "LinkDown";
    case Outcome::Cancelled: return "Cancelled";
    case Outcome::TimedOutBeforeSending: return "TimedOutBeforeSending";
    case Outcome::BadArgument: return "BadArgument";
    case Outcome::Aborted: return "Aborted";
    }
    return "unknown";
}

Failure::Failure(Outcome outcome, std::string text) : Failure(outcome, std::move(text), false, 0, {}) {}

Failure::Failure(Outcome outcome, std::string text, bool mayHaveBeenExecuted, int refusals,
                 std::vector<StateValue> held)
    : data(std::make_shared<const Data>(
          Data{outcome, std::move(text), mayHaveBeenExecuted, refusals, std::move(held)})) {}

Failure::Failure(const Failure& other) = default;
// NOLINTNEXTLINE(performance-move-constructor-init): the other one stays whole
Failure::Failure(Failure&& other) noexcept : data(other.data) {}
Failure& Failure::operator=(const Failure& other) = default;
Failure& Failure::operator=(Failure&& other) noexcept {
    data = other.data;
    return *this;
}
Failure::~Failure() = default;

Outcome Failure::outcome() const {
    return data->outcome;
}

const std::string& Failure::text() const {
    return data->text;
}

bool Failure::mayHaveBeenExecuted() const {
    return data->mayHaveBeenExecuted;
}

int Failure::refusals() const {
    return data->refusals;
}

const std::vector<StateValue>& Failure::held() const {
    return data->held;
}

FailedRequest::FailedRequest(Failure why) : std::runtime_error(why.text()), reason(std::move(why)) {}
FailedRequest::FailedRequest(const FailedRequest& other) = default;
FailedRequest::~FailedRequest() = default;

} // namespace hostlink
