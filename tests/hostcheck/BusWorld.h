/// @file
/// A host on a bus, in a time of its own.
#pragma once

#include <functional>

#include <hostcheck/Wire.h>
#include <hostsim/HostOnBus.h>
#include <hostsim/SimulatedHost.h>

/// What is wrong with a host on a bus; the right ones change nothing.
struct BusWrongs {
    std::function<ByteArray(const ByteArray&)> write = [](const ByteArray& bytes) { return bytes; };
    std::function<ByteArray(const ByteArray&)> read = [](const ByteArray& bytes) { return bytes; };
    std::function<bool(bool, hostsim::Time)> low = [](bool isLow, hostsim::Time) { return isLow; };
};

class BusWorld : public hostcheck::BusWire {
public:
    using Time = hostcheck::Time;

    BusWorld(const hostsim::HostOptions& options, BusWrongs wrongs)
        : wrong(std::move(wrongs)), endpoint(options), bus(endpoint) {}

    Time now() override { return clock; }
    bool write(const ByteArray& bytes) override {
        const ByteArray heard = wrong.write(bytes);
        if (!heard.empty()) bus.write(heard, clock);
        pass(bytes.size());
        return true;
    }
    ByteArray read(size_t count) override {
        ByteArray bytes = wrong.read(bus.read(count, clock));
        pass(count);
        return bytes;
    }
    ByteArray writeRead(const ByteArray& bytes, size_t count) override {
        write(bytes);
        return read(count);
    }
    bool lineLow() override {
        look();
        return wasLow;
    }
    bool waitForEdge(Time until) override {
        while (!hasFallen) {
            if (clock >= until) return false;
            step(until);
        }
        hasFallen = false;
        return true;
    }
    void pause(Time until) override {
        while (clock < until) step(until);
    }

private:
    static constexpr Time byteTime{20};

    void pass(size_t bytes) {
        look();
        const Time until = clock + byteTime * static_cast<int64_t>(bytes);
        while (clock < until) step(until);
    }
    void step(Time until) {
        constexpr Time often = hostcheck::milliseconds(1); // wrong lines move when they like
        look();
        const Time next = bus.nextDeadline(clock).value_or(until);
        clock = std::max(clock + Time(1), std::min({next, until, clock + often}));
        bus.advance(clock);
        look();
    }
    void look() {
        const bool isLow = wrong.low(bus.interruptLow(clock), clock);
        hasFallen = hasFallen || (isLow && !wasLow);
        wasLow = isLow;
    }

    Time clock{0};
    BusWrongs wrong;
    hostsim::SimulatedHost endpoint;
    hostsim::HostOnBus bus;
    bool wasLow = false;
    bool hasFallen = false;
};
