// The engine against the simulated host.
#include <algorithm>

#include <gtest/gtest.h>

#include <host/HostLinkHostBus.h>
#include <host/HostLinkHostUart.h>
#include <hostsim/BusHost.h>
#include <hostsim/UartHost.h>

#include "EngineHost.h"
#include "ModuleTraffic.h"

namespace {

using hostsim::Time;
using std::chrono::milliseconds;

constexpr uint16_t longestPacket = 65535;
constexpr char irq64[] = "FF FE 0E 00 22 03 00 00 40 00 00 00 00 00";
constexpr char reset[] = "FF FE 08 00 21 00 00 00";

uint32_t waitUntil(std::optional<Time> deadline, Time now) {
    if (!deadline) return HOSTLINK_HOST_NEVER;
    return static_cast<uint32_t>(std::max<Time::rep>(0, (*deadline - now).count()) / 1000);
}

/// What the engine makes of so many answers at once: the oldest go where more wait than it keeps.
ByteArray withoutOldAnswers(const ByteArray& line) {
    constexpr size_t size = HOSTLINK_RSP_FRAME_SIZE;
    size_t answers = 0;
    while (line.size() >= (answers + 1) * size && line[answers * size + 2] == size) ++answers;
    const size_t old = answers > HOSTLINK_HOST_ANSWERS ? answers - HOSTLINK_HOST_ANSWERS : 0;
    return slice(line, old * size, line.size());
}

/// Both behind a serial line.
class Lines {
public:
    Lines() : received(longestPacket) {
        HostLinkHostUartSetup setup;
        hostLinkHostUartDefaults(&setup);
        setup.received = received.data();
        setup.receivedSize = longestPacket;
        hostLinkHostUartInit(&uart, host.engine(), &setup);
    }

    void receive(const ByteArray& bytes) {
        if (bytes.empty()) return; // they would begin the simulated host's pause anew
        const ExactBytes exact(bytes);
        hostLinkHostUartReceive(&uart, exact.data(), static_cast<uint32_t>(exact.size()), now);
        simulated.receive(bytes, time());
        compare();
    }

    void send(const ByteArray& message) {
        host.send(message);
        endpoint.send({message}, time());
        compare();
    }

    void advance(uint32_t by) {
        now += by;
        hostLinkHostUartAdvance(&uart, now);
        simulated.advance(time());
        compare();
    }

    /// Whether the host has nothing to send. The simulated host draws a frame id for a message before it is asked for
    /// its first packet, the engine then; so a reset in between makes their ids differ.
    bool isQuiet() { return hostLinkHostQueued(host.engine()) == 0; }

private:
    Time time() const { return milliseconds(now); }

    void compare() {
        host.deliver();
        ByteArray expected;
        for (ByteArray part = simulated.nextWrite(time()); !part.empty(); part = simulated.nextWrite(time()))
            expected = expected + part;
        ExactBytes block(4096);
        const uint16_t count = hostLinkHostUartTransmit(&uart, block.data(), block.size16(), now);
        RC_ASSERT(hex(block.data(), count) == hex(withoutOldAnswers(expected)));
        RC_ASSERT(hostLinkHostUartWait(&uart, now) == waitUntil(simulated.nextDeadline(time()), time()));
        RC_ASSERT(hostLinkHostUartSkipped(&uart) == endpoint.counts().bytesSkipped);
        RC_ASSERT(hostLinkHostModuleAnswers(host.engine()) == (endpoint.moduleAnswers() ? 1 : 0));
        RC_ASSERT(host.engine()->counts.packets == endpoint.counts().packetsReceived);
        RC_ASSERT(host.engine()->counts.badPackets == endpoint.counts().badPackets);
        RC_ASSERT(host.engine()->counts.repetitions == endpoint.counts().duplicatePackets);
        RC_ASSERT(host.engine()->counts.abandoned == endpoint.counts().framesAbandoned);
        RC_ASSERT(host.engine()->counts.sent == endpoint.counts().messagesSent);
        RC_ASSERT(host.engine()->counts.givenUp == endpoint.counts().messagesGivenUp);
    }

    uint32_t now = 0;
    EngineHost host;
    ExactBytes received;
    HostLinkHostUart uart{};
    hostsim::HostEndpoint endpoint;
    hostsim::UartHost simulated{endpoint};
};

/// Both as device on a bus.
class Devices {
public:
    Devices() : received(longestPacket) {
        HostLinkHostBusSetup setup;
        hostLinkHostBusDefaults(&setup);
        setup.received = received.data();
        setup.receivedSize = longestPacket;
        hostLinkHostBusInit(&bus, host.engine(), &setup);
    }

    void write(const ByteArray& bytes) {
        const ExactBytes exact(bytes);
        hostLinkHostBusWrite(&bus, exact.data(), static_cast<uint32_t>(exact.size()), now);
        simulated.write(bytes, time());
        compare();
    }

    void read(uint32_t count) {
        ExactBytes block(count);
        hostLinkHostBusRead(&bus, block.data(), count, now);
        RC_ASSERT(block.text() == hex(simulated.read(count, time())));
        compare();
    }

    void send(const ByteArray& message) {
        host.send(message);
        endpoint.send({message}, time());
        compare();
    }

    // From one deadline to the next, as whoever drives them does.
    void advance(uint32_t by) {
        while (by > 0) {
            const uint32_t step = std::clamp(hostLinkHostBusWait(&bus, now), 1U, by);
            pass(step);
            by -= step;
        }
    }

    bool isQuiet() { return hostLinkHostQueued(host.engine()) == 0; }

private:
    Time time() const { return milliseconds(now); }

    void pass(uint32_t by) {
        const uint32_t givenUp = host.engine()->counts.givenUp;
        now += by;
        hostLinkHostBusAdvance(&bus, now);
        simulated.advance(time());
        compare();
        // The engine no longer hands out a packet that it has given up, the simulated host does until the next write.
        if (host.engine()->counts.givenUp != givenUp) write(bytes(irq64));
    }

    void compare() {
        host.deliver();
        RC_ASSERT((hostLinkHostBusLine(&bus, now) != 0) == simulated.interruptLow(time()));
        RC_ASSERT(hostLinkHostBusWait(&bus, now) == waitUntil(simulated.nextDeadline(time()), time()));
        RC_ASSERT(host.engine()->counts.sent == endpoint.counts().messagesSent);
        RC_ASSERT(host.engine()->counts.givenUp == endpoint.counts().messagesGivenUp);
    }

    uint32_t now = 0;
    EngineHost host;
    ExactBytes received;
    HostLinkHostBus bus{};
    hostsim::HostEndpoint endpoint;
    hostsim::BusHost simulated{endpoint};
};

uint32_t anyTime() {
    return *rc::gen::element(1U, 5U, 10U, 99U, 100U, 250U, 251U, 990U, 1000U);
}

ByteArray anyMessage() {
    return ByteArray{6, 0, 0} + *bytesNearMarks(150);
}

} // namespace

TEST(HostAgreement, OnASerialLine) {
    holds("any traffic, any time", [] {
        Lines lines;
        ModuleTraffic module;
        for (int step = *rc::gen::inRange(1, 60); step > 0; --step) {
            switch (*rc::gen::inRange(0, 8)) {
            case 0: lines.advance(anyTime()); break;
            case 1: lines.send(anyMessage()); break;
            case 2: { // half a packet, and what comes behind it
                const ByteArray packet = module.next();
                module.repeatNoMore();
                lines.receive(slice(packet, 0, packet.size() / 2));
                break;
            }
            case 3:
                module.forget();
                lines.advance(200); // nothing is half there, and all is delivered
                if (lines.isQuiet()) lines.receive(bytes(reset));
                break;
            default: lines.receive(module.next()); break;
            }
        }
    });
}

TEST(HostAgreement, OnABus) {
    holds("any transactions, any time", [] {
        Devices devices;
        ModuleTraffic module;
        for (int step = *rc::gen::inRange(1, 60); step > 0; --step) {
            switch (*rc::gen::inRange(0, 8)) {
            case 0:
                module.forget();
                devices.advance(anyTime());
                break;
            case 1: devices.send(anyMessage()); break;
            case 2:
                module.forget();
                if (devices.isQuiet()) devices.write(bytes(reset));
                break;
            case 3:
            case 4:
                module.forget();
                devices.write(bytes(irq64));
                break;
            default: {
                const ByteArray packet = module.next();
                if (!packet.empty()) devices.write(packet);
                break;
            }
            }
            devices.read(*rc::gen::element(0U, 8U, 14U, 64U));
        }
    });
}
