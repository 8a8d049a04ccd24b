#include "hostlinkclient/session/Requests.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

#include <exchange/ChunkSize.h>
#include <hostlink/HostLinkMessage.h>

#include "hostlinkclient/machines/Questions.h"
#include "hostlinkclient/session/Explain.h"

namespace hostlink {

namespace {

using Clock = std::chrono::steady_clock;
using How = Matcher::How;

constexpr size_t mostStates = 255;
constexpr size_t longestValue = 65535; // bytes
constexpr char tooLong[] = "it is longer than a message can be; ask for less at once";

std::string names(const States& states) {
    std::string text;
    for (const StateId& state : states) {
        if (!text.empty()) text += ", ";
        text += state.isValid() ? state.name() : "a state that is none";
    }
    return text.empty() ? "nothing" : text;
}

template <typename T> void complain(Request<T>& request, const std::string& problem) {
    hostlink::complain(request.wrong, request.what, problem);
}

// What cannot be sent as one message has none.
template <typename T> void complainWithoutMessage(Request<T>& request) {
    if (request.question.message.empty()) complain(request, tooLong);
}

std::string problemOf(const Value& value) {
    const auto* bytes = std::get_if<ByteArray>(&value.alternatives());
    if (bytes == nullptr || bytes->size() <= longestValue) return "";
    return "a value of " + std::to_string(bytes->size()) + " bytes is longer than the 65535 that can be sent";
}

Result<StateValues> readGet(const States& states, const std::string& what, const Matcher::End& end,
                            const std::string& link) {
    const auto items = readItems(end.answer);
    if (end.how == How::Part && items) {
        const Failure plain = explain(end, what, link);
        return Failure(plain.outcome(), plain.text(), true, end.refusals, valuesOf(*items));
    }
    if (end.how != How::Answered) return explain(end, what, link);
    StateValues values;
    for (const StateId& state : states) {
        const auto isIt = [&state](const Item& item) { return item.tag == state.number(); };
        values.push_back({state, std::find_if(items->begin(), items->end(), isIt)->value});
    }
    return values;
}

Result<void> readSet(const StateValues& asked, const std::string& what, const Matcher::End& end,
                     const std::string& link) {
    if (end.how != How::Answered) return explain(end, what, link);
    const auto items = readItems(end.answer);
    if (saysValues(*items, asked)) return {};
    const StateValues held = valuesOf(*items);
    return Failure(Outcome::HoldsAnother,
                   what + ": the host answers that it holds " + print(held) +
                       ". It has limits of its own, or a packet was damaged: read the state, or set it with Confirm",
                   true, end.refusals, held);
}

Result<void> readTaken(const std::string& what, const Matcher::End& end, const std::string& link) {
    if (end.how == How::Taken) return {};
    return explain(end, what, link);
}

// What can be told of raw bytes before they are sent.
std::string problemOf(const ByteArray& message) {
    if (message.empty()) return "it has no bytes; the link would send nothing and call that accepted";
    const MessageId id = HostLinkMessage::messageId(message);
    if (isList(id)) return readList(message) ? "" : "it cannot be read as the list that its id asks for";
    return readItems(message) ? "" : "it cannot be read as the tagged values that its id asks for";
}

std::string printId(const ByteArray& message) {
    return "message " + std::to_string(HostLinkMessage::messageId(message));
}

Request<void> oneWay(const std::string& what, ByteArray message, Duration refusalTime, const Call& call,
                     const Options& options) {
    Request<void> request{what, std::nullopt, {}, {}};
    request.question.message = std::move(message);
    complain(request, applyCall(call, options, Clock::now(), request.question));
    request.question.answerTime = refusalTime;
    request.read = [what](const Matcher::End& end, const std::string& link) { return readTaken(what, end, link); };
    return request;
}

} // namespace

std::string problemOf(const States& states) {
    if (states.empty()) return "no state is named; name at least one";
    if (states.size() > mostStates)
        return std::to_string(states.size()) + " states are more than the 255 that a message has room for";
    std::set<uint16_t> seen;
    for (const StateId& state : states) {
        if (!state.isValid()) return state.problem();
        if (!seen.insert(state.number()).second) return state.name() + " is named twice";
    }
    return "";
}

std::string problemOf(size_t messageBytes, int packetBytes) {
    const size_t most = exchange::longestMessage(packetBytes);
    if (messageBytes <= most) return "";
    return "a message of " + std::to_string(messageBytes) + " bytes is longer than the " + std::to_string(most) +
           " that go into 256 packets of this wire; ask for less at once, or give it larger packets";
}

std::vector<uint16_t> numbersOf(const States& states) {
    std::vector<uint16_t> ids(states.size());
    std::transform(states.begin(), states.end(), ids.begin(), [](const StateId& state) { return state.number(); });
    return ids;
}

std::string applyCall(const Call& call, const Options& options, Time now, Question& question) {
    const std::chrono::milliseconds deadline = call.deadline().value_or(options.deadline);
    question.deadline = now + deadline;
    question.answerTime = options.answerTime;
    question.waitsForLink = call.doesWhileDown().value_or(options.whileDown) == WhileDown::Wait;
    if (deadline.count() > 0) return "";
    return "a deadline of " + std::to_string(deadline.count()) + " ms leaves no time";
}

Request<StateValues> getRequest(const States& states, const Call& call, const Options& options) {
    Request<StateValues> request{"get " + names(states), std::nullopt, {}, {}};
    complain(request, problemOf(states));
    if (request.wrong) return request;
    request.question = getQuestion(numbersOf(states));
    complain(request, applyCall(call, options, Clock::now(), request.question));
    request.question.sendings = options.sendings;
    request.read = [states, what = request.what](const Matcher::End& end, const std::string& link) {
        return readGet(states, what, end, link);
    };
    return request;
}

Request<void> setRequest(const StateValues& values, const Call& call, const Options& options) {
    States states;
    std::vector<Item> items;
    for (const StateValue& one : values) {
        states.push_back(one.state);
        items.push_back({one.state.number(), one.value});
    }
    Request<void> request{"set " + names(states), std::nullopt, {}, {}};
    complain(request, problemOf(states));
    for (const StateValue& one : values) complain(request, problemOf(one.value));
    if (request.wrong) return request;
    request.question = itemsQuestion(MSG_SetState, items);
    complainWithoutMessage(request);
    complain(request, applyCall(call, options, Clock::now(), request.question));
    request.read = [values, what = request.what](const Matcher::End& end, const std::string& link) {
        return readSet(values, what, end, link);
    };
    return request;
}

Request<void> inputEventRequest(ButtonState event, const Value& key, const Call& call, const Options& options) {
    const auto message = writeItems(MSG_InputEvent, {{static_cast<uint16_t>(event), key}});
    Request<void> request =
        oneWay("send an input event", message.value_or(ByteArray()), Duration::zero(), call, options);
    complainWithoutMessage(request);
    return request;
}

Request<void> ledRequest(LedApiCmd command, const Value& value, const Call& call, const Options& options) {
    const auto message = writeItems(MSG_SetLedApi, {{static_cast<uint16_t>(command), value}});
    Request<void> request = oneWay("set the LEDs", message.value_or(ByteArray()), options.refusalTime, call, options);
    complainWithoutMessage(request);
    return request;
}

Request<ByteArray> askRequest(const ByteArray& message, const Call& call, const Options& options) {
    Request<ByteArray> request{"ask " + printId(message), std::nullopt, {}, {}};
    complain(request, problemOf(message));
    if (request.wrong) return request;
    request.question = rawQuestion(message);
    if (request.question.answerId == MSG_Invalid) complain(request, "nothing answers it; use send()");
    complain(request, applyCall(call, options, Clock::now(), request.question));
    request.read = [what = request.what](const Matcher::End& end, const std::string& link) -> Result<ByteArray> {
        if (end.how == How::Answered) return end.answer;
        return explain(end, what, link);
    };
    return request;
}

// Its answer is remembered, so that it is not taken for that of a later request.
Request<void> sendRequest(const ByteArray& message, const Call& call, const Options& options) {
    Request<void> request = oneWay("send " + printId(message), message, Duration::zero(), call, options);
    complain(request, problemOf(message));
    return request;
}

bool saysValues(const std::vector<Item>& answer, const StateValues& values) {
    return std::all_of(values.begin(), values.end(), [&answer](const StateValue& asked) {
        return std::any_of(answer.begin(), answer.end(), [&asked](const Item& item) {
            return item.tag == asked.state.number() && item.value.meansSameAs(asked.value);
        });
    });
}

StateValues valuesOf(const std::vector<Item>& answer) {
    StateValues values;
    for (const Item& item : answer) values.push_back({StateId(item.tag), item.value});
    return values;
}

std::string print(const StateValues& values) {
    std::string text;
    for (const StateValue& one : values) {
        if (!text.empty()) text += ", ";
        text += one.state.name() + " " + one.value.print(one.state);
    }
    return text.empty() ? "nothing" : text;
}

} // namespace hostlink
