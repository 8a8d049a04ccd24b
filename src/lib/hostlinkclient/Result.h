/// @file
/// A value, or why there is none.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "Outcome.h"

namespace hostlink {

/// What every result can tell of its end. An ordinary value.
class ResultBase {
public:
    /// Whether the host answered as asked.
    bool ok() const { return !reason; }
    explicit operator bool() const { return ok(); }
    Outcome outcome() const { return reason ? reason->outcome() : Outcome::Done; }
    /// What went wrong and what to do; empty when nothing did.
    std::string text() const { return reason ? reason->text() : std::string(); }
    /// Whether the host may have acted on the request; true for one that succeeded.
    bool mayHaveBeenExecuted() const { return !reason || reason->mayHaveBeenExecuted(); }
    /// What went wrong; none when nothing did.
    const std::optional<Failure>& failure() const { return reason; }

protected:
    ResultBase() = default;
    explicit ResultBase(Failure why) : reason(std::move(why)) {}
    void throwIfFailed() const {
        if (reason) throw FailedRequest(*reason);
    }

private:
    std::optional<Failure> reason;
};

/// A value, or a failure.
template <typename T> class Result : public ResultBase {
public:
    Result(T value) : content(std::move(value)) {}              // a value is a result
    Result(Failure failure) : ResultBase(std::move(failure)) {} // a failure is a result

    /// The value.
    /// @throw FailedRequest there is none
    const T& value() const {
        throwIfFailed();
        return *content;
    }
    const T& orThrow() const { return value(); }
    /// The value, or this one where there is none.
    T valueOr(T other) const { return content ? *content : std::move(other); }

    /// Only of a result that is ok.
    const T& operator*() const { return *content; }
    const T* operator->() const { return &*content; }

private:
    std::optional<T> content;
};

/// Success, or a failure.
template <> class Result<void> : public ResultBase {
public:
    Result() = default;
    Result(Failure failure) : ResultBase(std::move(failure)) {} // a failure is a result

    /// @throw FailedRequest it failed
    void orThrow() const { throwIfFailed(); }
};

} // namespace hostlink
