// A client that is asked by threads of the interpreter, and whose callbacks go to its inbox.
#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <hostlinkclient/Client.h>

#include "BoundClient.h"
#include "CarriedOut.h"
#include "Conversions.h"
#include "Inbox.h"
#include "Interpreter.h"
#include "Parts.h"

namespace binding {

using hostlink::Call;
using hostlink::Result;
using std::chrono::milliseconds;

using Values = std::vector<hostlink::StateValue>;

namespace {

void readWatch(const py::dict& from, hostlink::LineWatch& watch) {
    take(from, "chip", watch.chip);
    take(from, "line", watch.line);
    take(from, "bias", watch.bias);
    take(from, "debounce", watch.debounce);
    take(from, "second_look", watch.secondLook);
}

hostlink::Wire wireOf(const std::string& kind, const py::dict& from) {
    if (kind == "i2c") {
        hostlink::I2c i2c;
        take(from, "device", i2c.device);
        take(from, "address", i2c.address);
        take(from, "gpio", i2c.gpio);
        take(from, "max_packet_size", i2c.maxPacketSize);
        take(from, "two_transactions", i2c.twoTransactions);
        readWatch(from, i2c.watch);
        return i2c;
    }
    if (kind == "spi") {
        hostlink::Spi spi;
        take(from, "device", spi.device);
        take(from, "speed", spi.speed);
        take(from, "gpio", spi.gpio);
        take(from, "max_packet_size", spi.maxPacketSize);
        readWatch(from, spi.watch);
        return spi;
    }
    hostlink::Uart uart;
    take(from, "device", uart.device);
    take(from, "baud", uart.baud);
    take(from, "response_timeout", uart.responseTimeout);
    take(from, "parity", uart.parity);
    take(from, "options", uart.options);
    take(from, "max_packet_size", uart.maxPacketSize);
    return uart;
}

hostlink::WhileDown whileDownOf(bool waits) {
    return waits ? hostlink::WhileDown::Wait : hostlink::WhileDown::Fail;
}

hostlink::Options optionsOf(const py::dict& from, const std::shared_ptr<Inbox>& inbox) {
    hostlink::Options options;
    take(from, "deadline", options.deadline);
    take(from, "answer_time", options.answerTime);
    take(from, "late_for", options.lateFor);
    take(from, "refusal_time", options.refusalTime);
    take(from, "sendings", options.sendings);
    take(from, "first_pause", options.firstPause);
    take(from, "longest_pause", options.longestPause);
    take(from, "unanswered_writes", options.unansweredWrites);
    bool waits = false;
    take(from, "wait_while_down", waits);
    options.whileDown = whileDownOf(waits);
    if (from.contains("probe")) options.probe = stateOf(from["probe"]);
    options.events = inbox->events();
    options.log = [inbox](hostlink::LogLevel level, const std::string& line) {
        inbox->log(static_cast<int>(level), line);
    };
    return options;
}

Call callOf(const py::dict& from) {
    Call call;
    if (from.contains("within")) call.within(milliseconds(from["within"].cast<int64_t>()));
    if (from.contains("wait_while_down")) call.whileDown(whileDownOf(from["wait_while_down"].cast<bool>()));
    bool confirm = false;
    take(from, "confirm", confirm);
    if (confirm) call.confirmed();
    if (from.contains("cancellation")) call.cancelledBy(from["cancellation"].cast<const hostlink::Cancellation&>());
    return call;
}

std::vector<hostlink::StateId> statesOf(const py::list& from) {
    std::vector<hostlink::StateId> states;
    for (const py::handle& each : from) states.push_back(stateOf(each));
    return states;
}

Values valuesOf(const py::list& from) {
    Values values;
    for (const py::handle& each : from) {
        const auto pair = each.cast<py::tuple>();
        values.push_back({stateOf(pair[0]), valueOf(pair[1].cast<py::tuple>())});
    }
    return values;
}

py::list listOf(const Values& values) {
    py::list list;
    for (const hostlink::StateValue& each : values)
        list.append(py::make_tuple(each.state.number(), pairOf(each.value)));
    return list;
}

// How a request ended: its failure or None, and what it gave.
py::object endOf(const Result<void>& result) {
    return py::make_tuple(result ? py::object(py::none()) : failureOf(*result.failure()), py::none());
}

py::object endOf(const Result<Values>& result) {
    if (!result) return py::make_tuple(failureOf(*result.failure()), py::none());
    return py::make_tuple(py::none(), listOf(*result));
}

template <typename Type> std::function<void(Result<Type>)> tell(const std::shared_ptr<Inbox>& inbox, uint64_t id) {
    return [inbox, id](const Result<Type>& result) { inbox->put(id, [result] { return endOf(result); }); };
}

py::object toldOf(const hostlink::Change& change) {
    return py::make_tuple(change.state.number(), pairOf(change.value), change.wasRead, change.missed);
}

} // namespace

BoundClient::BoundClient(std::shared_ptr<Inbox> told, const hostlink::Wire& wire, const hostlink::Options& options)
    : inbox(std::move(told)), client(std::make_unique<hostlink::Client>(wire, options)) {}

hostlink::Client* BoundClient::operator->() const {
    if (isAbandoned) throw std::runtime_error("this client belongs to the process that made it, before a fork");
    return client.get();
}

namespace {

void defineRequests(py::class_<BoundClient, std::shared_ptr<BoundClient>>& type) {
    type.def("get", [](BoundClient& self, const py::list& states, const py::dict& how) {
        return listOf(
            *carriedOut([&, asked = statesOf(states), call = callOf(how)] { return self->getMany(asked, call); }));
    });
    type.def("set", [](BoundClient& self, const py::list& values, const py::dict& how) {
        carriedOut([&, given = valuesOf(values), call = callOf(how)] { return self->setMany(given, call); });
    });
    type.def("begin_get", [](BoundClient& self, uint64_t id, const py::list& states, const py::dict& how) {
        unlocked([&, asked = statesOf(states), call = callOf(how)] {
            self->getManyAsync(asked, tell<Values>(self.inbox, id), call);
        });
    });
    type.def("begin_set", [](BoundClient& self, uint64_t id, const py::list& values, const py::dict& how) {
        unlocked([&, given = valuesOf(values), call = callOf(how)] {
            self->setManyAsync(given, tell<void>(self.inbox, id), call);
        });
    });
    type.def("send_input_event", [](BoundClient& self, int event, const py::tuple& key, const py::dict& how) {
        carriedOut([&, value = valueOf(key), call = callOf(how)] {
            return self->sendInputEvent(static_cast<ButtonState>(event), value, call);
        });
    });
    type.def("set_led", [](BoundClient& self, int command, const py::tuple& value, const py::dict& how) {
        carriedOut([&, given = valueOf(value), call = callOf(how)] {
            return self->setLed(static_cast<LedApiCmd>(command), given, call);
        });
    });
    type.def("ask", [](BoundClient& self, const py::bytes& message, const py::dict& how) {
        return bytesOf(
            *carriedOut([&, bytes = byteArrayOf(message), call = callOf(how)] { return self->ask(bytes, call); }));
    });
    type.def("send", [](BoundClient& self, const py::bytes& message, const py::dict& how) {
        carriedOut([&, bytes = byteArrayOf(message), call = callOf(how)] { return self->send(bytes, call); });
    });
}

void defineTelling(py::class_<BoundClient, std::shared_ptr<BoundClient>>& type) {
    type.def("subscribe", [](BoundClient& self, uint64_t id, const py::list& states, size_t keep) {
        const auto told = [inbox = self.inbox, id](const hostlink::Change& change) {
            inbox->put(id, [change] { return toldOf(change); });
        };
        const auto kept = keep == 0 ? hostlink::Keep::latest() : hostlink::Keep::newest(keep);
        return unlocked([&, wanted = statesOf(states)] {
            return std::make_shared<hostlink::Subscription>(self->subscribe(wanted, told, kept));
        });
    });
    type.def("on_input_event", [](BoundClient& self, uint64_t id) {
        return unlocked([&] {
            return std::make_shared<hostlink::Listening>(self->onInputEvent([inbox = self.inbox,
                                                                             id](const hostlink::InputEvent& event) {
                inbox->put(id, [event] { return py::make_tuple(static_cast<int>(event.event), pairOf(event.key)); });
            }));
        });
    });
    type.def("on_message", [](BoundClient& self, uint64_t id, int message) {
        return unlocked([&] {
            return std::make_shared<hostlink::Listening>(
                self->onMessage(static_cast<MessageId>(message), [inbox = self.inbox, id](const ByteArray& bytes) {
                    inbox->put(id, [bytes] { return bytesOf(bytes); });
                }));
        });
    });
    type.def("on_link", [](BoundClient& self, uint64_t id) {
        return unlocked([&] {
            return std::make_shared<hostlink::Listening>(
                self->onLink([inbox = self.inbox, id](hostlink::LinkState state, const std::string& why) {
                    inbox->put(id, [state, why] { return py::make_tuple(static_cast<int>(state), textOf(why)); });
                }));
        });
    });
}

void defineHandles(py::module_& module) {
    py::class_<hostlink::Cancellation>(module, "Cancellation")
        .def(py::init<>())
        .def("cancel", [](hostlink::Cancellation& self) { unlocked([&] { self.cancel(); }); });
    using Subscription = hostlink::Subscription;
    py::class_<Subscription, std::shared_ptr<Subscription>>(module, "Subscription")
        .def("established", [](const Subscription& self,
                               int64_t within) { carriedOut([&] { return self.established(milliseconds(within)); }); })
        .def("last",
             [](const Subscription& self, const py::handle& state) -> py::object {
                 const auto value = unlocked([&, id = stateOf(state)] { return self.last(id); });
                 return value ? py::object(pairOf(*value)) : py::none();
             })
        .def("missed", &Subscription::missed)
        .def("end", [](Subscription& self) { unlocked([&] { self.end(); }); });
    py::class_<hostlink::Listening, std::shared_ptr<hostlink::Listening>>(module, "Listening")
        .def("end", [](hostlink::Listening& self) { unlocked([&] { self.end(); }); });
    py::class_<Inbox, std::shared_ptr<Inbox>>(module, "Inbox")
        .def(py::init<>())
        .def("take", &Inbox::take)
        .def("stop", &Inbox::stop);
}

} // namespace

// None is made any more when the interpreter ends.
static std::shared_ptr<BoundClient> makeClient(const std::shared_ptr<Inbox>& inbox, const std::string& kind,
                                               const py::dict& wire, const py::dict& options) {
    return unlocked([&, leading = wireOf(kind, wire), chosen = optionsOf(options, inbox)] {
        return std::make_shared<BoundClient>(inbox, leading, chosen);
    });
}

void defineClient(py::module_& module) {
    defineHandles(module);
    py::class_<BoundClient, std::shared_ptr<BoundClient>> type(module, "Client");
    type.def(py::init(&makeClient));
    defineRequests(type);
    defineTelling(type);
    defineTransfersOf(type);
    type.def("statistics", [](BoundClient& self) { return self->statistics().json(); });
    type.def("link_state", [](BoundClient& self) { return static_cast<int>(self->linkState()); });
    type.def("link_text", [](BoundClient& self) { return textOf(self->linkText()); });
    type.def("wait_until_up", [](BoundClient& self, int64_t within) {
        return unlocked([&] { return self->waitUntilUp(milliseconds(within)); });
    });
    type.def("close", [](BoundClient& self) { unlocked([&] { self->close(); }); });
    type.def("abandon", &BoundClient::abandon);
}

} // namespace binding
