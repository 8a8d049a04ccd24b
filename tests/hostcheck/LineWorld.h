/// @file
/// A host at the far end of a serial line, in a time of its own: nothing waits, whatever the machine does.
#pragma once

#include <deque>
#include <functional>
#include <memory>

#include <hostcheck/Wire.h>
#include <hostsim/HostOnLine.h>
#include <hostsim/LinePacer.h>
#include <hostsim/SimulatedHost.h>

/// What is wrong with a host, besides what its options can make wrong. Each is asked at its place; the right ones
/// change nothing.
struct Wrongs {
    using Bytes = std::function<ByteArray(const ByteArray&)>;
    /// Whole writes of the checker on their way to the host, and whole writes of the host.
    Bytes toHost = [](const ByteArray& bytes) { return bytes; };
    Bytes toModule = [](const ByteArray& bytes) { return bytes; };
    /// What the host sends after this write, behind its own bytes.
    Bytes afterWrite = [](const ByteArray&) { return ByteArray(); };
    /// What the host hears by itself when it has written this.
    Bytes hears = [](const ByteArray&) { return ByteArray(); };
    /// What it writes by itself; asked every 20 ms when there is such a thing.
    std::function<ByteArray(hostsim::Time)> byItself;
    /// What the application answers in place of its own answers.
    std::function<std::optional<std::vector<ByteArray>>(const ByteArray&, hostsim::HostApplication&)> application =
        [](const ByteArray&, hostsim::HostApplication&) { return std::nullopt; };
    hostsim::LineOptions line;
};

class LineWorld : public hostcheck::SerialWire {
public:
    using Time = hostcheck::Time;

    LineWorld(const hostsim::HostOptions& options, Wrongs wrongs, unsigned long baud = 115200);

    Time now() override { return clock; }
    void send(const ByteArray& bytes) override;
    ByteArray receive(Time until) override;
    Time lineTime(size_t bytes) const override { return toHost.duration(bytes); }

    hostsim::SimulatedHost& host() { return endpoint; }
    /// The checker is interrupted when it waits at or behind this moment.
    std::optional<Time> interruptAt;

private:
    // Sees each message before the application does.
    struct Service : hostsim::HostService {
        explicit Service(LineWorld& theWorld) : world(theWorld) {}
        std::optional<std::vector<ByteArray>> handle(const ByteArray& message) override {
            return world.wrong.application(message, world.endpoint.application());
        }
        LineWorld& world;
    };

    void letHostAct();
    std::optional<Time> nextMoment() const;

    Time clock{0};
    Wrongs wrong;
    hostsim::SimulatedHost endpoint;
    hostsim::HostOnLine line;
    hostsim::LinePacer toHost;
    hostsim::LinePacer toModule;
    Service service{*this};
};
