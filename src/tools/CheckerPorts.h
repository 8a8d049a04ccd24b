/// @file
/// Real wires for the checker of hosts.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <hostcheck/Wire.h>
#include <serialcomm/SerialBus.h>
#include <serialcomm/Uart.h>

#include "CheckerClock.h"
#include "CheckerLine.h"
#include "HostcheckOptions.h"

/// Set by SIGINT and SIGTERM. Whoever waits takes it, once for each signal.
class Interruption {
public:
    /// The longest time between two looks for one.
    static constexpr hostcheck::Time within = hostcheck::milliseconds(50);

    /// Takes the signals over, for the process.
    static void takeSignals();
    /// @throw hostcheck::Interrupted when there was one since
    static void check();
};

/// How long this machine has kept the checker from running, as far as it can see. By the machine's clock.
class OwnDelays {
public:
    /// The checker runs, and has done nothing but compute since it was noted last.
    void noteRunning() { noteOver(lastNoted); }
    /// A wait of at most this span that begins where the checker was noted last.
    hostcheck::Time dueAfter(hostcheck::Time span) const { return lastNoted + span; }
    /// A wait is over that was to end then, or sooner: what ended it may have come long before.
    /// @return whether that is late
    bool noteOver(hostcheck::Time due);
    /// Something is over that takes as long as others make it.
    void noteDone();
    hostcheck::Time sum() const { return total; }

private:
    hostcheck::Time total{0};
    hostcheck::Time lastNoted = CheckerClock::ofMachine();
};

/// How long a serial line of these options takes for so many bytes.
hostcheck::Time timeOnLine(const HostcheckOptions& options, size_t bytes);

/// What the ports have in common.
template <typename Wire> class CheckerPort : public Wire {
public:
    explicit CheckerPort(const std::string& clockSource) : clock(makeClock(clockSource)) {}

    hostcheck::Time now() override {
        ownDelays.noteRunning();
        return clock->now();
    }
    hostcheck::Time heldUp() const override { return ownDelays.sum(); }

protected:
    OwnDelays ownDelays;

private:
    std::unique_ptr<CheckerClock> clock;
};

/// A serial port of the project's serial library.
class SerialPort : public CheckerPort<hostcheck::SerialWire> {
public:
    /// @throw std::runtime_error it cannot be opened; the log says why
    explicit SerialPort(const HostcheckOptions& checkOptions);
    ~SerialPort() override;

    void send(const ByteArray& bytes) override;
    ByteArray receive(hostcheck::Time until) override;
    hostcheck::Time lineTime(size_t bytes) const override { return timeOnLine(options, bytes); }

private:
    // What the reader hands over.
    struct Arrivals {
        std::mutex mutex; // guards the two below
        ByteArray come;
        bool isLost = false;
        std::condition_variable changed;
    };

    static void readOn(Uart& port, Arrivals& arrivals);

    const HostcheckOptions& options;
    std::unique_ptr<Uart> uart;
    std::shared_ptr<Arrivals> arrivals = std::make_shared<Arrivals>();
    std::thread reader; // blocks in the port's read; ends with the port
};

/// A bus of the project's serial library and an interrupt line.
class BusPort : public CheckerPort<hostcheck::BusWire> {
public:
    /// @throw std::runtime_error, std::system_error one of them cannot be opened
    explicit BusPort(const HostcheckOptions& options);

    bool write(const ByteArray& bytes) override;
    ByteArray read(size_t count) override;
    ByteArray writeRead(const ByteArray& bytes, size_t count) override;
    bool lineLow() override { return line->isLow(); }
    bool waitForEdge(hostcheck::Time until) override;
    void pause(hostcheck::Time until) override;

private:
    std::unique_ptr<SerialBus> device;
    std::unique_ptr<CheckerLine> line;
};
