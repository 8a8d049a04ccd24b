// The simulated host, for tests without a device.
#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <hostsim/FaultOptions.h>
#include <hostsim/HostCounts.h>
#include <hostsim/MessageItems.h>

#include "Conversions.h"
#include "HostThread.h"
#include "Interpreter.h"
#include "Parts.h"

namespace binding {

using hostsim::FaultOptions;
using hostsim::Item;
using hostsim::readItems;
using hostsim::SimulatedHost;
using hostsim::writeItems;

namespace {

void readNoise(const py::dict& from, const std::string& towards, hostsim::ByteNoise& noise) {
    take(from, ("drop_rate" + towards).c_str(), noise.dropRate);
    take(from, ("corrupt_rate" + towards).c_str(), noise.corruptRate);
    take(from, ("insert_rate" + towards).c_str(), noise.insertRate);
    take(from, ("repeat_rate" + towards).c_str(), noise.repeatRate);
}

FaultOptions faultsOf(const py::dict& from) {
    FaultOptions faults;
    take(from, "silent_every", faults.silentEvery);
    take(from, "ack_nack_every", faults.ackNackEvery);
    take(from, "neither_every", faults.neitherEvery);
    take(from, "nack_first", faults.nackFirst);
    take(from, "late_every", faults.lateEvery);
    take(from, "late_by", faults.lateBy);
    take(from, "repeat_every", faults.repeatEvery);
    take(from, "burst", faults.burst);
    take(from, "garbage_every", faults.garbageEvery);
    take(from, "garbage_bytes", faults.garbageBytes);
    take(from, "split_writes", faults.splitWrites);
    take(from, "limit", faults.limit);
    take(from, "seed", faults.seed);
    readNoise(from, "_to_module", faults.toModule);
    readNoise(from, "_to_host", faults.toHost);
    return faults;
}

// States travel as the items of a message: what a value is made of inside stays where it is.
std::vector<Item> itemsOf(const py::bytes& message) {
    const auto items = readItems(byteArrayOf(message));
    if (!items) throw std::invalid_argument("these states cannot be read");
    return *items;
}

std::unique_ptr<HostThread> makeHost(const py::dict& from, const py::dict& faults, const py::bytes& states) {
    hostsim::HostOptions options;
    take(from, "max_packet_size", options.outgoing.maxPacketSize);
    take(from, "response_timeout", options.outgoing.responseTimeout);
    options.faults = faultsOf(faults);
    for (const Item& item : itemsOf(states)) options.states.set(item.tag, item.value);
    std::string link;
    unsigned long baud = 0;
    size_t recorded = 0;
    take(from, "link", link);
    take(from, "baud", baud);
    take(from, "record", recorded);
    return std::make_unique<HostThread>(options, link, baud, recorded);
}

void set(HostThread& self, const py::bytes& states) {
    unlocked([&self, items = itemsOf(states)] {
        self.ask([&items](SimulatedHost& host) {
            for (const Item& item : items) host.send(host.application().setState(item.tag, item.value));
        });
    });
}

py::bytes get(HostThread& self, uint16_t state) {
    return bytesOf(unlocked([&] {
        return self.ask([state](SimulatedHost& host) {
            return writeItems(MSG_SetState, {{state, host.application().states().get(state)}});
        });
    }));
}

void send(HostThread& self, const std::vector<py::bytes>& messages) {
    std::vector<ByteArray> all;
    all.reserve(messages.size());
    for (const py::bytes& each : messages) all.push_back(byteArrayOf(each));
    unlocked([&] { self.ask([&all](SimulatedHost& host) { host.send(all); }); });
}

py::list records(HostThread& self) {
    static const char* const names[] = {"PacketReceived", "PacketSent", "MessageReceived", "MessageSent",
                                        "BadBytesReceived"};
    py::list all;
    for (const HostThread::Record& each : unlocked([&] { return self.takeRecords(); }))
        all.append(py::make_tuple(names[static_cast<size_t>(each.event)], bytesOf(each.bytes)));
    return all;
}

} // namespace

void defineHost(py::module_& module) {
    using hostsim::HostApplication;
    py::class_<HostThread>(module, "Host")
        .def(py::init(&makeHost))
        .def("path", [](const HostThread& self) { return textOf(self.path()); })
        .def("set", &set)
        .def("get", &get)
        .def("send", &send)
        .def("press",
             [](HostThread& self, uint16_t button) {
                 unlocked(
                     [&] { self.ask([button](SimulatedHost& host) { host.send(HostApplication::press(button)); }); });
             })
        .def("burst",
             [](HostThread& self, unsigned count) {
                 unlocked(
                     [&] { self.ask([count](SimulatedHost& host) { host.send(HostApplication::burst(count)); }); });
             })
        .def("is_idle",
             [](HostThread& self) {
                 return unlocked([&] { return self.ask([](SimulatedHost& host) { return host.isIdle(); }); });
             })
        .def("counts",
             [](HostThread& self) {
                 return unlocked(
                     [&] { return self.ask([](SimulatedHost& host) { return countsAsJson(host.counts()); }); });
             })
        .def("records", &records)
        .def("close", [](HostThread& self) { unlocked([&] { self.close(); }); });
}

} // namespace binding
