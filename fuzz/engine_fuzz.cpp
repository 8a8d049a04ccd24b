// The host's engine: behind a serial line and behind a bus, with pools and queues of any size.
#include <algorithm>
#include <memory>
#include <vector>

#include <host/HostLinkHostBus.h>
#include <host/HostLinkHostUart.h>

#include "support/Input.h"
#include "support/Require.h"
#include "support/WireReference.h"

namespace {

constexpr int manySteps = 100000; // far more than anything here takes

/// A host in heap blocks of exactly the sizes that the macros tell, and what it has told.
class Host {
public:
    explicit Host(Input& input)
        : packetSize(static_cast<uint16_t>(11 + input.below(90))),
          messageSize(3 + input.byte()),
          openFrames(static_cast<uint8_t>(1 + input.below(5))),
          frames(new HostLinkHostFrame[openFrames]),
          messages(HOSTLINK_HOST_MESSAGES_SIZE(size_t{openFrames}, messageSize)),
          queue(HOSTLINK_HOST_QUEUE_SIZE(size_t{1} + input.below(4), messageSize)),
          packet(packetSize),
          received(14 + input.below(90)),
          now(input.doubleWord()) {
        HostLinkHostSetup setup;
        hostLinkHostDefaults(&setup);
        setup.events = {this, onMessage, onReset, onOutcome};
        setup.frames = frames.get();
        setup.openFrames = openFrames;
        setup.messages = messages.data();
        setup.messageSize = messageSize;
        setup.queue = queue.data();
        setup.queueSize = static_cast<uint32_t>(queue.size());
        setup.packet = packet.data();
        setup.packetSize = packetSize;
        require(hostLinkHostInit(&engine, &setup) == 0, "what the macros tell is enough");
    }

    void send(const ByteArray& message) {
        uint32_t ticket = 0;
        const ExactBytes exact(message);
        const auto length = static_cast<uint32_t>(exact.size());
        const uint32_t code = hostLinkHostSend(&engine, exact.data(), length, &ticket);
        require(code == 0 || code == 10 || code == 16 || code == 32, "a known code");
        require((code == 10) == message.empty(), "only an empty message is too short");
        if (code == 0) require(ticket == ++accepted, "tickets count");
        if (code == 16) require(hostLinkHostQueued(&engine) > 0, "an empty queue takes what it ever takes");
    }

    void deliver() {
        int told = 0;
        while (hostLinkHostDeliver(&engine) != 0) require(++told < manySteps, "deliveries come to an end");
        require(delivered == engine.counts.messages, "what is complete is delivered");
    }

    void check() const {
        require(finished + hostLinkHostQueued(&engine) == accepted, "each message has one outcome");
        require(engine.counts.sent + engine.counts.givenUp <= finished, "an outcome is one thing");
    }

    uint16_t packetSize;
    uint32_t messageSize;
    uint8_t openFrames;
    std::unique_ptr<HostLinkHostFrame[]> frames;
    ExactBytes messages;
    ExactBytes queue;
    ExactBytes packet;
    ExactBytes received;
    uint32_t now;
    HostLinkHost engine{};
    ByteArray came; // all bytes that the module has sent

private:
    // The bytes of a message are bytes that came, in their order.
    static void onMessage(void* context, const uint8_t* bytes, uint32_t length) {
        auto& host = *static_cast<Host*>(context);
        ++host.delivered;
        require(length > 0 && length <= host.messageSize, "a message has room in its place");
        auto came = host.came.begin();
        for (uint32_t i = 0; i < length; ++i) {
            came = std::find(came, host.came.end(), bytes[i]);
            require(came++ != host.came.end(), "a message is made of what came");
        }
    }
    static void onReset(void*) {}
    static void onOutcome(void* context, uint32_t ticket, HostLinkHostOutcome outcome) {
        require(ticket == ++static_cast<Host*>(context)->finished, "outcomes come in order");
        require(outcome <= OUT_Reset, "a known outcome");
    }

    uint32_t accepted = 0;
    uint32_t finished = 0;
    uint32_t delivered = 0;
};

/// Packets of the module: good ones, twins of the one before, and bytes that are none.
class ModulePackets {
public:
    ByteArray next(Input& input) {
        const unsigned choice = input.byte();
        if (choice < 200) last = packet(input, choice);
        return last;
    }

private:
    static ByteArray packet(Input& input, unsigned choice) {
        const unsigned frameId = choice / 8 % 4;
        const unsigned detail = input.byte();
        switch (choice % 8) {
        case 0: return responseFrame(detail, frameId);
        case 1: return packetOf(0x22, frameId, 0, {static_cast<unsigned char>(detail), 0, 0, 0});
        case 2: return {0xFF, 0xFE, 8, 0, 0x21, static_cast<unsigned char>(frameId), 0, 0};
        case 3: return input.bytes(input.below(40));
        case 4: return packetOf(detail, frameId, choice / 32, input.bytes(1U + input.below(64)));
        case 5: return responseFrame(0xA3, frameId);
        case 6: return packetOf(0x03, frameId, detail % 3, input.bytes(1U + input.below(40)));
        default: return packetOf(0x23, frameId, detail % 3, input.bytes(1U + input.below(40)));
        }
    }

    ByteArray last;
};

class SerialLine {
public:
    explicit SerialLine(Input& input) : host(input) {
        HostLinkHostUartSetup setup;
        hostLinkHostUartDefaults(&setup);
        setup.received = host.received.data();
        setup.receivedSize = host.received.size16();
        require(hostLinkHostUartInit(&uart, &host.engine, &setup) == 0, "a line is set up");
    }

    void step(Input& input) {
        const unsigned choice = input.byte();
        if (choice < 160) {
            const ByteArray packet = packets.next(input);
            const size_t cut = packet.empty() ? 0 : choice % packet.size();
            receive(slice(packet, 0, cut));
            if (choice % 2 == 0) fetch(1U + choice % 9);
            receive(slice(packet, cut, packet.size()));
        } else if (choice < 200) {
            advance(choice - 160);
        } else if (choice < 230) {
            fetch(1U + choice % 16);
        } else {
            host.send(input.bytes(input.byte()));
        }
        if (choice % 3 != 0) host.deliver();
        host.check();
    }

    // The module is silent from now on: the host gives up what it waits for and comes to rest.
    void end() {
        for (int steps = 0;; ++steps) {
            require(steps < manySteps, "a host that hears nothing comes to rest");
            while (fetch(64) == 64) require(++steps < manySteps, "what goes out comes to an end");
            const uint32_t wait = hostLinkHostUartWait(&uart, host.now);
            if (wait == HOSTLINK_HOST_NEVER) break;
            require(wait > 0, "what could go out has gone");
            advance(wait - 1);
            require(hostLinkHostUartWait(&uart, host.now) == 1, "the time that is told is the time");
            advance(1);
        }
        host.deliver();
        host.check();
        require(hostLinkHostQueued(&host.engine) == 0, "nothing is left at rest");
        checkLine();
    }

private:
    void receive(const ByteArray& bytes) {
        const ExactBytes exact(bytes);
        host.came = host.came + bytes;
        hostLinkHostUartReceive(&uart, exact.data(), static_cast<uint32_t>(exact.size()), host.now);
    }

    uint16_t fetch(unsigned room) {
        ExactBytes block(room);
        const uint16_t count = hostLinkHostUartTransmit(&uart, block.data(), block.size16(), host.now);
        require(count <= room, "no more than there is room for");
        require(count == room || hostLinkHostUartHasOutput(&uart, host.now) == 0, "all that there is");
        line.insert(line.end(), block.data(), block.data() + count);
        return count;
    }

    void advance(uint32_t by) {
        host.now += by;
        hostLinkHostUartAdvance(&uart, host.now);
    }

    // The line has carried whole packets, one behind the other.
    void checkLine() const {
        for (size_t at = 0; at < line.size(); at += reference::word(line, at + 2)) {
            const ByteArray ahead = slice(line, at, std::min(line.size(), at + reference::longestPacket));
            require(reference::packetCode(ahead) == 0, "the line carries packets");
            const reference::Packet packet(slice(ahead, 0, reference::word(ahead, 2)));
            require(packet.isResponse() || packet.isMessage(), "of two kinds");
            require(packet.isResponse() || packet.length <= host.packetSize, "no longer than they may be");
        }
    }

    Host host;
    HostLinkHostUart uart{};
    ModulePackets packets;
    ByteArray line;
};

class Bus {
public:
    explicit Bus(Input& input) : host(input) {
        HostLinkHostBusSetup setup;
        hostLinkHostBusDefaults(&setup);
        setup.received = host.received.data();
        setup.receivedSize = host.received.size16();
        require(hostLinkHostBusInit(&bus, &host.engine, &setup) == 0, "a bus is set up");
    }

    void step(Input& input) {
        const unsigned choice = input.byte();
        if (choice < 96) {
            write(packets.next(input));
        } else if (choice < 160) {
            read(choice - 96);
        } else if (choice < 180) {
            exchange(packets.next(input), choice - 160);
        } else if (choice < 200) {
            call(input, choice);
        } else if (choice < 230) {
            advance(choice - 200);
        } else {
            host.send(input.bytes(input.byte()));
        }
        if (choice % 3 != 0) host.deliver();
        hostLinkHostBusLine(&bus, host.now);
        host.check();
    }

    // A module that serves every edge has everything in the end.
    void end() {
        for (int steps = 0; steps < manySteps; ++steps) {
            host.deliver();
            if (hostLinkHostBusLine(&bus, host.now) != 0) {
                serve();
                continue;
            }
            const uint32_t wait = hostLinkHostBusWait(&bus, host.now);
            if (wait == HOSTLINK_HOST_NEVER)
                return require(hostLinkHostQueued(&host.engine) == 0, "nothing is left at rest");
            advance(std::max(wait, 1U));
        }
        require(false, "a host that is served comes to rest");
    }

private:
    void write(const ByteArray& bytes) {
        const ExactBytes exact(bytes);
        host.came = host.came + bytes;
        hostLinkHostBusWrite(&bus, exact.data(), static_cast<uint32_t>(exact.size()), host.now);
    }

    ByteArray read(size_t count) {
        ExactBytes block(count);
        hostLinkHostBusRead(&bus, block.data(), static_cast<uint32_t>(count), host.now);
        ByteArray bytes = block.copy();
        const bool idle = std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte == 0xFF; });
        require(idle || reference::beginsWithMark(bytes), "an answer begins with its start mark");
        return bytes;
    }

    void exchange(const ByteArray& bytes, size_t behind) {
        const ByteArray out = bytes + ByteArray(behind, 0);
        host.came = host.came + out;
        hostLinkHostBusSelected(&bus);
        for (const unsigned char byte : out) hostLinkHostBusExchanged(&bus, byte);
        hostLinkHostBusDeselected(&bus, host.now);
    }

    // Interrupts as no peripheral would deliver them.
    void call(Input& input, unsigned choice) {
        switch (choice % 6) {
        case 0: hostLinkHostBusWriteBegins(&bus, host.now); break;
        case 1: hostLinkHostBusReadBegins(&bus, host.now); break;
        case 2: hostLinkHostBusStops(&bus, host.now); break;
        case 3:
            host.came.push_back(input.byte());
            hostLinkHostBusByteReceived(&bus, host.came.back());
            break;
        case 4: hostLinkHostBusByteRequested(&bus); break;
        default: hostLinkHostBusDeselected(&bus, host.now); break;
        }
    }

    void advance(uint32_t by) {
        host.now += by;
        hostLinkHostBusAdvance(&bus, host.now);
    }

    void serve() {
        unsigned size = 64;
        for (int round = 0; round < 3; ++round) {
            write(
                packetOf(0x22, 9, 0, {static_cast<unsigned char>(size), static_cast<unsigned char>(size >> 8), 0, 0}));
            const ByteArray reply = read(size);
            require(reference::packetCode(reply) == 0, "the answer to an IRQ frame is a packet that fits");
            const reference::Packet packet(slice(reply, 0, reference::word(reply, 2)));
            if (packet.isMessage()) return write(responseFrame(0xA3, 9));
            require(packet.format() == 2, "a host that pulls the line low has a packet");
            size = reference::word(packet.payload, 0);
        }
        require(false, "a size is announced once");
    }

    Host host;
    HostLinkHostBus bus{};
    ModulePackets packets;
};

template <typename Wire> void run(Input& input) {
    Wire wire(input);
    while (!input.empty()) wire.step(input);
    wire.end();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    if (input.flag()) {
        run<SerialLine>(input);
    } else {
        run<Bus>(input);
    }
    return 0;
}
