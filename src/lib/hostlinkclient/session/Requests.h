/// @file
/// Requests of a program, checked before they are asked and read when they are answered.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <items/Items.h>

#include "hostlinkclient/Call.h"
#include "hostlinkclient/Options.h"
#include "hostlinkclient/Result.h"
#include "hostlinkclient/Value.h"
#include "hostlinkclient/machines/Matcher.h"

namespace hostlink {

using States = std::vector<StateId>;
using StateValues = std::vector<StateValue>;

/// A request that is to be asked, unless something is wrong with it.
template <typename T> struct Request {
    std::string what; ///< for people: "get PlayerVolume"
    std::optional<Failure> wrong;
    Question question;
    std::function<Result<T>(const Matcher::End& end, const std::string& link)> read;
};

/// What is wrong with states that are to stand in one message; empty when nothing is.
std::string problemOf(const States& states);
/// What is wrong with a message of this length on a wire with such packets; empty when nothing is.
std::string problemOf(size_t messageBytes, int packetBytes);

/// The numbers of states that are valid, in their order.
std::vector<uint16_t> numbersOf(const States& states);

/// What a call asks of its question: deadline, patience, waiting for the link.
/// @return what is wrong with it; empty when nothing is
std::string applyCall(const Call& call, const Options& options, Time now, Question& question);

Request<StateValues> getRequest(const States& states, const Call& call, const Options& options);
/// Sent once: a state can be a command.
Request<void> setRequest(const StateValues& values, const Call& call, const Options& options);
Request<void> inputEventRequest(ButtonState event, const Value& key, const Call& call, const Options& options);
Request<void> ledRequest(LedApiCmd command, const Value& value, const Call& call, const Options& options);
/// Any message that has an answer.
Request<ByteArray> askRequest(const ByteArray& message, const Call& call, const Options& options);
/// Any message, whatever answers it.
Request<void> sendRequest(const ByteArray& message, const Call& call, const Options& options);

/// Whether an answer says these values of these states.
bool saysValues(const std::vector<Item>& answer, const StateValues& values);

/// The values in an answer, for `Failure::held()`.
StateValues valuesOf(const std::vector<Item>& answer);

/// "PlayerVolume 30, MetaTitle Blue in Green".
std::string print(const StateValues& values);

} // namespace hostlink
