#include "hostlinkclient/Client.h"

#include <utility>

#include "hostlinkclient/session/Confirmation.h"
#include "hostlinkclient/session/Core.h"
#include "hostlinkclient/session/Explain.h"
#include "hostlinkclient/session/Requests.h"

namespace hostlink {

namespace {

// What the wire cannot carry is not begun: a transport would send its first packets again in place of those too many.
template <typename T> void checkLength(const Core& core, Request<T>& request) {
    complain(request.wrong, request.what, problemOf(request.question.message.size(), core.maxPacketSize()));
}

// The three forms of a request, over the same core.
// The core stays while somebody waits: the client may be closed and gone meanwhile.
template <typename T> Result<T> wait(std::shared_ptr<Core> core, Request<T>&& request, const Call& call) {
    checkLength(*core, request);
    if (request.wrong) return *request.wrong;
    const Matcher::End end = core->wait(std::move(request.question), call.isCancelledBy());
    return request.read(end, core->linkText());
}

template <typename T>
void begin(Core& core, Request<T>&& request, const Call& call, std::function<void(Result<T>)> done) {
    checkLength(core, request);
    if (request.wrong) {
        done(*request.wrong);
        return;
    }
    core.submit(std::move(request.question), call.isCancelledBy(),
                [&core, read = std::move(request.read), done = std::move(done)](const Matcher::End& end) {
                    done(read(end, core.linkText()));
                });
}

// Where a result goes that is waited for.
template <typename T> class Promised {
public:
    std::function<void(Result<T>)> done() const {
        return [kept = promise](Result<T> result) { kept->set_value(std::move(result)); };
    }
    std::future<Result<T>> future() const { return promise->get_future(); }

private:
    const std::shared_ptr<std::promise<Result<T>>> promise = std::make_shared<std::promise<Result<T>>>();
};

// Where one goes that a callback gets, on the thread for callbacks.
template <typename T> std::function<void(Result<T>)> calledBack(Core& core, std::function<void(Result<T>)> done) {
    if (!done) return [](const Result<T>&) {}; // nobody wants to know
    return [owed = core.owedCallback(), done = std::move(done)](Result<T> result) {
        owed([done, result = std::move(result)] { done(result); });
    };
}

template <typename T> std::future<Result<T>> promise(Core& core, Request<T>&& request, const Call& call) {
    const Promised<T> promised;
    begin(core, std::move(request), call, promised.done());
    return promised.future();
}

template <typename T> void callLater(Core& core, Request<T>&& request, const Call& call, Client::Callback<T> done) {
    begin(core, std::move(request), call, calledBack(core, std::move(done)));
}

// One value of many.
Result<Value> onlyOne(const Result<StateValues>& values) {
    if (!values) return *values.failure();
    return values->front().value;
}

std::function<void(Result<StateValues>)> onlyOneTo(std::function<void(Result<Value>)> done) {
    return [done = std::move(done)](const Result<StateValues>& values) { done(onlyOne(values)); };
}

void beginSet(const std::shared_ptr<Core>& core, const StateValues& values, const Call& call,
              std::function<void(Result<void>)> done) {
    Request<void> request = setRequest(values, call, core->options());
    checkLength(*core, request);
    if (call.isConfirmed() && !request.wrong)
        confirm(core, std::move(request), values, call, std::move(done));
    else
        begin(*core, std::move(request), call, std::move(done));
}

} // namespace

Client::Client(const Wire& wire, const Options& options) : inside(std::make_shared<Core>(wire, options)) {
    inside->start();
}

Client::~Client() {
    inside->close();
}

void Client::open() {
    inside->open();
}

// The callback of a subscription may be on its way out of here when another thread destroys the client.
void Client::close() {
    const std::shared_ptr<Core> kept = inside;
    kept->close();
}

Result<Value> Client::get(const StateId& state, const Call& call) {
    return onlyOne(getMany({state}, call));
}

std::future<Result<Value>> Client::getAsync(const StateId& state, const Call& call) {
    const Promised<Value> promised;
    begin(*inside, getRequest({state}, call, inside->options()), call, onlyOneTo(promised.done()));
    return promised.future();
}

void Client::getAsync(const StateId& state, Callback<Value> done, const Call& call) {
    begin(*inside, getRequest({state}, call, inside->options()), call, onlyOneTo(calledBack(*inside, std::move(done))));
}

Result<StateValues> Client::getMany(const States& states, const Call& call) {
    return wait(inside, getRequest(states, call, inside->options()), call);
}

std::future<Result<StateValues>> Client::getManyAsync(const States& states, const Call& call) {
    return promise(*inside, getRequest(states, call, inside->options()), call);
}

void Client::getManyAsync(const States& states, Callback<StateValues> done, const Call& call) {
    callLater(*inside, getRequest(states, call, inside->options()), call, std::move(done));
}

Result<void> Client::set(const StateId& state, const Value& value, const Call& call) {
    return setMany({{state, value}}, call);
}

std::future<Result<void>> Client::setAsync(const StateId& state, const Value& value, const Call& call) {
    return setManyAsync({{state, value}}, call);
}

void Client::setAsync(const StateId& state, const Value& value, Callback<void> done, const Call& call) {
    setManyAsync({{state, value}}, std::move(done), call);
}

Result<void> Client::setMany(const StateValues& values, const Call& call) {
    if (call.isConfirmed()) return setManyAsync(values, call).get();
    return wait(inside, setRequest(values, call, inside->options()), call);
}

std::future<Result<void>> Client::setManyAsync(const StateValues& values, const Call& call) {
    const Promised<void> promised;
    beginSet(inside, values, call, promised.done());
    return promised.future();
}

void Client::setManyAsync(const StateValues& values, Callback<void> done, const Call& call) {
    beginSet(inside, values, call, calledBack(*inside, std::move(done)));
}

Result<void> Client::sendInputEvent(ButtonState event, const Value& key, const Call& call) {
    return wait(inside, inputEventRequest(event, key, call, inside->options()), call);
}

std::future<Result<void>> Client::sendInputEventAsync(ButtonState event, const Value& key, const Call& call) {
    return promise(*inside, inputEventRequest(event, key, call, inside->options()), call);
}

void Client::sendInputEventAsync(ButtonState event, const Value& key, Callback<void> done, const Call& call) {
    callLater(*inside, inputEventRequest(event, key, call, inside->options()), call, std::move(done));
}

Result<void> Client::setLed(LedApiCmd command, const Value& value, const Call& call) {
    return wait(inside, ledRequest(command, value, call, inside->options()), call);
}

std::future<Result<void>> Client::setLedAsync(LedApiCmd command, const Value& value, const Call& call) {
    return promise(*inside, ledRequest(command, value, call, inside->options()), call);
}

void Client::setLedAsync(LedApiCmd command, const Value& value, Callback<void> done, const Call& call) {
    callLater(*inside, ledRequest(command, value, call, inside->options()), call, std::move(done));
}

Result<ByteArray> Client::ask(const ByteArray& message, const Call& call) {
    return wait(inside, askRequest(message, call, inside->options()), call);
}

std::future<Result<ByteArray>> Client::askAsync(const ByteArray& message, const Call& call) {
    return promise(*inside, askRequest(message, call, inside->options()), call);
}

void Client::askAsync(const ByteArray& message, Callback<ByteArray> done, const Call& call) {
    callLater(*inside, askRequest(message, call, inside->options()), call, std::move(done));
}

Result<void> Client::send(const ByteArray& message, const Call& call) {
    return wait(inside, sendRequest(message, call, inside->options()), call);
}

std::future<Result<void>> Client::sendAsync(const ByteArray& message, const Call& call) {
    return promise(*inside, sendRequest(message, call, inside->options()), call);
}

void Client::sendAsync(const ByteArray& message, Callback<void> done, const Call& call) {
    callLater(*inside, sendRequest(message, call, inside->options()), call, std::move(done));
}

Subscription Client::subscribe(const States& states, std::function<void(const Change&)> told, Keep keep) {
    return Subscription(inside->subscribe(states, std::move(told), keep));
}

Listening Client::onInputEvent(std::function<void(const InputEvent&)> told) {
    if (!told) return {};
    return onMessage(MSG_InputEvent, [told = std::move(told)](const ByteArray& message) {
        const auto items = readItems(message);
        if (!items) return;
        for (const Item& item : *items) told({static_cast<ButtonState>(item.tag), item.value});
    });
}

Listening Client::onMessage(MessageId id, std::function<void(const ByteArray&)> told) {
    if (!told) return {};
    return Listening(inside->tell(id, std::move(told)));
}

Listening Client::onLink(std::function<void(LinkState, const std::string&)> told) {
    if (!told) return {};
    return Listening(inside->tellLink(std::move(told)));
}

LinkState Client::linkState() const {
    return inside->linkState();
}

std::string Client::linkText() const {
    return inside->linkText();
}

bool Client::waitUntilUp(std::chrono::milliseconds within) const {
    return inside->waitUntilUp(within);
}

} // namespace hostlink
