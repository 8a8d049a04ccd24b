/// @file
/// The host itself: the engine in ample storage, and the application on it.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include <host/HostLinkHost.h>
#include <hostlink/ByteArray.h>

#include "FaultInjector.h"
#include "FaultOptions.h"
#include "HostApplication.h"
#include "HostCounts.h"
#include "HostTime.h"
#include "HostTrace.h"

namespace hostsim {

struct OutgoingOptions {
    int maxPacketSize = 64;                          ///< bytes, 11 to 65535
    Time responseTimeout = std::chrono::seconds(1);  ///< how long the module may take to acknowledge
    Time retryDelay = std::chrono::milliseconds(10); ///< before a refused packet goes out again
    unsigned attempts = 4;                           ///< of each packet, up to 255
    size_t maxQueued = 100000;                       ///< messages; more are given up at once
};

/// How a host is set up. The engine counts in whole milliseconds: what is left of a span is rounded up.
struct HostOptions {
    OutgoingOptions outgoing;
    FaultOptions faults;
    HostStates states = HostStates::afterPowerOn();
    Time repeatWindow = std::chrono::milliseconds(500); ///< in which the same packet again is a repetition; to 65 s
};

/// A host, the same behind a serial line (`HostOnLine`) and on a bus (`HostOnBus`), which drive it. What it does on the
/// wire is what the engine does (`host/HostLinkHost.h`); this class gives it storage, hands it one message at a time,
/// gives what it delivers to the application and queues the answers, and counts and tells what happens.
///
/// Up to `openFrames` messages of the module may be on their way at a time; of more, the one that has waited for
/// longest goes. Knows no device, no thread and no clock. Not locked: one thread at a time.
class SimulatedHost {
public:
    static constexpr uint8_t openFrames = 16;
    static constexpr uint16_t longestPacket = 65535;  ///< that is received
    static constexpr uint32_t longestMessage = 65535; ///< in both directions

    explicit SimulatedHost(const HostOptions& options = {});
    SimulatedHost(const SimulatedHost&) = delete;
    SimulatedHost& operator=(const SimulatedHost&) = delete;

    /// Queues messages of the host's own. One that is empty or too long for its packet size is given up.
    void send(const std::vector<ByteArray>& messages);

    /// The application; what it wants to tell the module goes to `send()`.
    HostApplication& application() { return app; }
    const HostCounts& counts() const { return totals; }

    /// Whether the module has been heard, and has not failed since to answer a packet of the host.
    bool moduleAnswers() const { return hostLinkHostModuleAnswers(&host) != 0; }
    /// Whether it has nothing to send and waits for no response.
    bool isIdle() const { return queue.empty(); }

    void setTrace(const Trace& observer) { trace = observer; }

    /// @name For the wires
    /// @{

    HostLinkHost& engine() { return host; }
    FaultInjector& faults() { return injector; }
    HostCounts& mutableCounts() { return totals; }

    /// Does what the engine leaves to its task. After every call that gives the engine something to do.
    void settle();

    /// The packet of the host's own that is to go out next, before it goes; empty while there is none.
    ByteArray readyPacket(Time now);

    void noteReceived(const ByteArray& packet);
    void noteBadBytes(const ByteArray& bytes);
    void noteSent(const ByteArray& packet);
    /// @}

private:
    static void onMessage(void* context, const uint8_t* message, uint32_t length);
    static void onReset(void* context);
    static void onOutcome(void* context, uint32_t ticket, HostLinkHostOutcome result);

    void setUp(const HostOptions& options);
    void takeMessage(const ByteArray& message);
    void startOver();
    void finishMessage(HostLinkHostOutcome result);
    void dropFirst(bool acknowledged);
    void handOver();
    void readCounts();

    HostCounts totals;
    FaultInjector injector;
    HostApplication app;
    Trace trace;

    HostLinkHost host{};
    HostLinkHostCounts countsRead{}; // of the engine, when they were added to the totals
    std::unique_ptr<HostLinkHostFrame[]> frames;
    std::unique_ptr<uint8_t[]> messageStorage;
    std::unique_ptr<uint8_t[]> queueStorage;
    std::unique_ptr<uint8_t[]> packetStorage;

    const size_t maxQueued;
    std::deque<ByteArray> queue;                // its front is in the engine when `handedOver`
    bool handedOver = false;                    // the engine has one message at a time
    std::optional<HostLinkHostOutcome> outcome; // of that message, since `settle()`
};

} // namespace hostsim
