// The simulated host: its cutter of a serial line, and the engine with the faults around it, behind a serial line and
// behind a bus.
#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <vector>

#include <hostsim/HostOnBus.h>
#include <hostsim/HostOnLine.h>
#include <hostsim/PacketCutter.h>

#include "support/Input.h"
#include "support/Replies.h"
#include "support/Require.h"
#include "support/WireReference.h"

using namespace hostsim;

namespace {

constexpr int manySteps = 100000; // far more than anything here takes

/// Packets of the module: good ones, twins of the one before, and bytes that are none.
class ModulePackets {
public:
    ByteArray next(Input& input) {
        const unsigned choice = input.byte();
        if (choice >= 224) return last;
        last = packet(input, choice);
        return last;
    }

private:
    static ByteArray packet(Input& input, unsigned choice) {
        const unsigned frameId = choice / 8 % 4;
        const unsigned detail = input.byte();
        switch (choice % 8) {
        case 0: return responseFrame(detail, frameId);
        case 1: return packetOf(detail, frameId, choice / 32 % 4, input.bytes(input.below(64)));
        case 2: return announcementOf(detail, frameId);
        case 3: return {0xFF, 0xFE, 8, 0, 0x21, static_cast<unsigned char>(frameId), 0, 0};
        case 4: return replyFrom(input);
        case 5: return packetOf(0x03, frameId, detail % 3, input.bytes(1U + input.below(40)));
        case 6: return responseFrame(0xA3, frameId);
        default: return packetOf(0x23, frameId, detail % 3, message(input));
        }
    }

    // Of the kinds that the host's application knows.
    static ByteArray message(Input& input) {
        static constexpr unsigned char ids[] = {1, 2, 3, 5, 6, 7, 8, 9};
        ByteArray start{ids[input.below(8)], 0, static_cast<unsigned char>(input.below(4))};
        return start + input.bytes(input.below(64));
    }

    ByteArray last;
};

// --- The cutter alone ---

// Good packets as they stand, no bytes for each bad one.
std::vector<ByteArray> packetsIn(const ByteArray& line) {
    const unsigned char mark[] = {0xFF, 0xFE};
    std::vector<ByteArray> packets;
    for (auto at = line.begin();;) {
        at = std::search(at, line.end(), std::begin(mark), std::end(mark));
        ByteArray left(at, line.end());
        left.resize(std::min(left.size(), reference::longestPacket));
        const unsigned code = reference::packetCode(left);
        if (code == 22 || code == 21) return packets;
        const size_t length = code == 0 ? reference::word(left, 2) : 2;
        packets.push_back(code == 0 ? slice(left, 0, length) : ByteArray());
        at += static_cast<std::ptrdiff_t>(length);
    }
}

void readStream(Input& input) {
    PacketCutter cutter(std::chrono::milliseconds(100));
    std::vector<ByteArray> found;
    const auto take = [&found](const ByteArray& packet) { found.push_back(packet); };
    ByteArray line;
    while (!input.empty()) {
        const ByteArray chunk = input.bytes(1U + input.byte());
        line = line + chunk;
        cutter.add(chunk, Time::zero(), take);
    }
    require(found == packetsIn(line), "the packets do not depend on how the line was cut");

    const size_t whole = found.size();
    if (const auto deadline = cutter.nextDeadline(Time::zero())) {
        cutter.expire(*deadline - Time(1), take);
        require(found.size() == whole, "nothing is given up before its time");
        cutter.expire(*deadline, take);
        require(found.size() > whole, "what is given up is reported");
        require(!cutter.nextDeadline(*deadline), "all that is as old is given up with it");
    }
    require(found.size() <= line.size() && cutter.skipped() <= line.size(), "no byte is skipped twice");
}

// --- The host behind a wire ---

FaultOptions faultsFrom(Input& input) {
    FaultOptions faults;
    const unsigned kinds = input.byte();
    const auto every = [&](unsigned bit) { return (kinds >> bit & 1) != 0 ? 1 + input.below(4) : 0U; };
    faults.silentEvery = every(0);
    faults.ackNackEvery = every(1);
    faults.neitherEvery = every(2);
    faults.nackFirst = every(3);
    faults.repeatEvery = every(4);
    faults.burst = every(5);
    faults.lateEvery = every(6);
    faults.lateBy = std::chrono::milliseconds(input.below(64));
    faults.splitWrites = every(7) != 0;
    faults.irqNackFirst = faults.splitWrites ? faults.nackFirst : 0;
    faults.irqAnnounceFirst = faults.repeatEvery / 2;
    faults.lateTransfers = faults.ackNackEvery / 2;
    return faults;
}

/// A host, and what it tells of itself.
class Spectator {
public:
    explicit Spectator(const FaultOptions& faults) : endpoint(optionsOf(faults)) {
        endpoint.setTrace([this](TraceEvent event, const ByteArray& bytes) { see(event, bytes); });
    }

    // The model's numbers against what was seen.
    void check() const {
        const HostCounts& counts = endpoint.counts();
        require(counts.packetsReceived == received, "each packet that verifies is counted");
        require(counts.badPackets == bad, "each that does not is counted");
        require(counts.messagesReceived == messages && counts.messagesSent == messagesSent, "messages are counted");
        require(counts.packetsSent == answersSent + ownSent, "packets sent are counted");
    }

    // One answer to each packet but responses, and to bytes that are none; but for those that were to stay silent.
    uint64_t answersDue() const { return received - responses + bad - endpoint.counts().faultSilences; }

    SimulatedHost endpoint;
    uint64_t answersSent = 0;
    uint64_t ownSent = 0;
    std::vector<ByteArray> framesSent;

private:
    static HostOptions optionsOf(const FaultOptions& faults) {
        HostOptions options;
        options.faults = faults;
        options.outgoing.maxQueued = 64;
        return options;
    }

    void see(TraceEvent event, const ByteArray& bytes) {
        switch (event) {
        case TraceEvent::PacketReceived: seeReceived(bytes); break;
        case TraceEvent::BadBytesReceived:
            require(reference::packetCode(bytes) != 0, "bad bytes are no packet");
            ++bad;
            break;
        case TraceEvent::PacketSent: seeSent(bytes); break;
        case TraceEvent::MessageReceived: seeMessage(bytes); break;
        case TraceEvent::MessageSent: ++messagesSent; break;
        }
    }

    void seeReceived(const ByteArray& bytes) {
        require(reference::packetCode(bytes) == 0, "a packet that is received verifies");
        ++received;
        const reference::Packet packet(bytes);
        if (packet.isResponse()) ++responses;
        if (packet.format() == 1) parts.clear();
        if (!packet.isMessage()) return;
        if (packet.packetId == 0) parts[packet.frameId].clear();
        parts[packet.frameId].push_back(packet.payload);
    }

    // The payloads of a frame in order, each taken once: a refused or repeated packet leaves no trace in a message.
    void seeMessage(const ByteArray& message) {
        ++messages;
        require(
            std::any_of(parts.begin(), parts.end(), [&](const auto& frame) { return holds(frame.second, message); }),
            "a message is made of the payloads of one frame");
    }

    static bool holds(const std::vector<ByteArray>& payloads, const ByteArray& message) {
        size_t at = 0;
        for (const ByteArray& payload : payloads) {
            const size_t end = at + payload.size();
            if (end <= message.size() && slice(message, at, end) == payload) at = end;
        }
        return at == message.size();
    }

    void seeSent(const ByteArray& bytes) {
        require(reference::packetCode(bytes) == 0, "a packet that is sent verifies");
        framesSent.push_back(bytes);
        if (reference::Packet(bytes).isMessage()) {
            ++ownSent;
        } else {
            ++answersSent;
        }
    }

    std::map<unsigned, std::vector<ByteArray>> parts; // payloads since packet 0, by frame id
    uint64_t received = 0;
    uint64_t responses = 0;
    uint64_t bad = 0;
    uint64_t messages = 0;
    uint64_t messagesSent = 0;
};

void ownMessages(SimulatedHost& endpoint, unsigned choice) {
    if (choice % 2 == 0) {
        endpoint.send(HostApplication::press(static_cast<uint16_t>(choice)));
    } else {
        endpoint.send({patternBytes(choice)});
    }
}

class SerialLine {
public:
    explicit SerialLine(const FaultOptions& faults) : host(faults), wire(host.endpoint) {}

    void step(Input& input) {
        const unsigned choice = input.byte();
        if (choice < 160) {
            const ByteArray packet = packets.next(input);
            const size_t cut = packet.empty() ? 0 : choice % packet.size();
            wire.receive(slice(packet, 0, cut), now);
            wire.receive(slice(packet, cut, packet.size()), now);
            drain();
        } else if (choice < 224) {
            now += std::chrono::milliseconds(choice - 160);
            wire.advance(now);
            drain();
        } else {
            ownMessages(host.endpoint, choice);
            drain();
        }
        host.check();
    }

    // The module is silent from now on: the host gives up what it waits for and comes to rest.
    void end() {
        int steps = 0;
        while (const auto deadline = wire.nextDeadline(now)) {
            require(++steps < manySteps, "a host that hears nothing comes to rest");
            now = std::max(now, *deadline);
            wire.advance(now);
            drain();
        }
        host.check();
        require(host.answersSent == host.answersDue(), "each packet that asks for an answer has had one");
    }

private:
    // What goes onto the line is what was traced as sent.
    void drain() {
        ByteArray line;
        int writes = 0;
        for (ByteArray bytes = wire.nextWrite(now); !bytes.empty(); bytes = wire.nextWrite(now)) {
            require(++writes < manySteps, "writes come to an end");
            line = line + bytes;
        }
        ByteArray expected;
        for (const ByteArray& frame : host.framesSent) expected = expected + frame;
        host.framesSent.clear();
        require(line == expected, "the line carries the packets that were sent");
    }

    Spectator host;
    HostOnLine wire;
    ModulePackets packets;
    Time now{0};
};

class Bus {
public:
    explicit Bus(const FaultOptions& faults) : host(faults), wire(host.endpoint) {}

    void step(Input& input) {
        const unsigned choice = input.byte();
        if (choice < 128) {
            wire.write(packets.next(input), now);
        } else if (choice < 192) {
            read(choice);
        } else if (choice < 224) {
            now += std::chrono::milliseconds(choice - 192);
            wire.advance(now);
        } else {
            ownMessages(host.endpoint, choice);
        }
        checkLine();
        host.check();
    }

    // A module that serves every interrupt has everything in the end.
    void end() {
        for (int step = 0; step < manySteps; ++step) {
            if (wire.interruptLow(now)) {
                serve();
                continue;
            }
            const auto deadline = wire.nextDeadline(now);
            if (!deadline) {
                host.check();
                return require(host.endpoint.isIdle(), "a host at rest has nothing to send");
            }
            now = std::max(*deadline, now + Time(1));
            wire.advance(now);
        }
        require(false, "a host that is served comes to rest");
    }

private:
    // The answer stands at the beginning of a read, or the bus is idle.
    ByteArray read(size_t count) {
        ByteArray bytes = wire.read(count, now);
        require(bytes.size() == count, "a read gives as many bytes as it asks for");
        const bool idle = std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte == 0xFF; });
        require(idle || count < 2 || reference::beginsWithMark(bytes), "an answer begins with its start mark");
        return bytes;
    }

    // One exchange of a module that knows the rules: a late host is read again.
    ByteArray ask(unsigned size) {
        wire.write(announcementOf(size, 0), now);
        ByteArray reply = read(size);
        for (int again = 0; again < 4 && !reference::beginsWithMark(reply); ++again) reply = read(size);
        require(reference::packetCode(reply) == 0, "the answer to an IRQ frame is a packet that fits");
        return reply;
    }

    void serve() {
        unsigned size = 64;
        for (int round = 0; round < 20; ++round) {
            const ByteArray reply = ask(size);
            const reference::Packet packet(reply);
            if (packet.isMessage()) return wire.write(responseFrame(0xA3, 0), now);
            if (packet.isResponse()) {
                require(packet.acknowledgement() != 0, "a host that pulls the line low has something to send");
            } else {
                require(packet.format() == 2 && irqValue(reply) > 0, "a size is announced");
                size = irqValue(reply);
            }
        }
        require(false, "a packet is handed out within a few rounds");
    }

    void checkLine() {
        const auto deadline = wire.nextDeadline(now);
        require(!deadline || *deadline >= now, "a deadline does not lie in the past");
        require(!wire.interruptLow(now) || !host.endpoint.readyPacket(now).empty(),
                "the line is low only when there is a packet to send");
    }

    Spectator host;
    HostOnBus wire;
    ModulePackets packets;
    Time now{0};
};

template <typename Wire> void converse(Input& input) {
    Wire wire(faultsFrom(input));
    for (int step = 0; step < 64 && !input.empty(); ++step) wire.step(input);
    wire.end();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    switch (input.below(3)) {
    case 0: readStream(input); break;
    case 1: converse<SerialLine>(input); break;
    default: converse<Bus>(input); break;
    }
    return 0;
}
