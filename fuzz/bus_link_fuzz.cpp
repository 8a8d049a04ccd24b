// A whole link over a bus that the input plays: exchanges that an interrupt starts, and messages that are sent.
#include <deque>
#include <utility>
#include <vector>

#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/physicalLayers/SyncSerialLayer.h>
#include <serialcomm/SerialBus.h>

#include "support/ExpectedDecisions.h"
#include "support/ExpectedTraffic.h"
#include "support/Input.h"
#include "support/Logging.h"
#include "support/Replies.h"
#include "support/Require.h"
#include "support/SkippedSleeps.h"

namespace {

struct Call {
    ByteArray written; // empty: a read
    int size;          // bytes asked for; 0: a write

    bool operator==(const Call& other) const { return written == other.written && size == other.size; }
};

/// Hands out what the input says, one reply a read, and keeps what it was asked.
class PlayedBus : public SerialBus {
public:
    bool open() override { return true; }
    ByteArray read(int size) override {
        calls.push_back({{}, size});
        return next();
    }
    bool write(const ByteArray& data) override {
        calls.push_back({data, 0});
        return writesWork;
    }
    ByteArray writeRead(const ByteArray& data, int size) override {
        calls.push_back({data, size});
        return next();
    }

    std::deque<ByteArray> replies;
    std::vector<Call> calls;
    bool writesWork = true;

private:
    ByteArray next() {
        if (replies.empty()) return {};
        ByteArray reply = std::move(replies.front());
        replies.pop_front();
        return reply;
    }
};

/// The bus link without its interrupt line: the test calls what the reader thread would.
class PlayedLink : public SyncSerialLayer {
public:
    PlayedLink(const Properties& properties, SerialBus* played) : SyncSerialLayer(properties) { bus = played; }
};

/// What the link does with the replies, told from the rules alone.
class ExpectedLink {
public:
    std::deque<ByteArray> replies;
    std::vector<Call> calls;
    ExpectedMessages received;
    std::vector<ByteArray> packets; // delivered
    std::chrono::nanoseconds waited{0};
    unsigned frameId = 0;

    void interrupt(int size) {
        for (int round = 0; round < 64; ++round) {
            const ByteArray reply = transfer(announcementOf(static_cast<uint32_t>(size), nextId()), size);
            const IrqExchange::Decision decision = decisions.of(reply);
            switch (decision.verdict) {
            case IrqExchange::Verdict::Announcement: size = decision.value; break;
            case IrqExchange::Verdict::Retry: break;
            case IrqExchange::Verdict::Message:
                calls.push_back({responseFrame(0xA3, nextId()), 0});
                packets.push_back(reply);
                received.take(reply);
                return;
            case IrqExchange::Verdict::Invalid: calls.push_back({responseFrame(0x63, nextId()), 0}); return;
            default: return;
            }
        }
    }

    WriteDataResponse write(const ByteArray& packet) {
        const ByteArray reply = transfer(packet, 8);
        if (reference::packetCode(reply) != 0 || !reference::Packet(reply).isResponse()) return NoResponse;
        static constexpr WriteDataResponse results[] = {NoResponse, Rejected, Accepted, Error};
        return results[reference::Packet(reply).acknowledgement()];
    }

    unsigned nextId() { return frameId++ & 0xFF; }

private:
    ByteArray transfer(const ByteArray& packet, int size) {
        calls.push_back({packet, size});
        ByteArray reply = next();
        for (int reread = 0; reread < 3 && !reference::beginsWithMark(reply); ++reread) {
            waited += std::chrono::microseconds(1500);
            calls.push_back({{}, size});
            reply = next();
        }
        return reply;
    }

    ByteArray next() {
        if (replies.empty()) return {};
        ByteArray reply = replies.front();
        replies.pop_front();
        return reply;
    }

    ExpectedDecisions decisions;
};

HostLinkPhysicalLayer::Properties propertiesOf(size_t room) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, "played");
    properties.setInt(GpioNumber, 0);
    properties.setInt(MaxPacketSize, static_cast<int>(room + 10));
    return properties;
}

class Conversation {
public:
    explicit Conversation(size_t payloadRoom)
        : room(payloadRoom), link(propertiesOf(payloadRoom), &bus), transport(&link) {
        link.addDataReceivedObserver([this](const ByteArray& packet) { packets.push_back(packet); });
        transport.addMessageReceivedObserver([this](const ByteArray& message) { messages.push_back(message); });
        takeSkippedSleep();
    }

    void step(Input& input) {
        const unsigned choice = input.byte();
        bus.writesWork = choice < 192;
        script(input, choice % 8);
        if (choice % 16 < 8) {
            link.readFromSlave(64);
            expected.interrupt(64);
        } else {
            send(input.bytes(choice));
        }
        check();
    }

private:
    void script(Input& input, unsigned count) {
        bus.replies.clear();
        const bool forEver = count == 7;
        for (unsigned i = 0; i < count; ++i) bus.replies.push_back(replyFrom(input));
        for (unsigned i = 0; forEver && i < 70; ++i) bus.replies.push_back(bus.replies[i]);
        expected.replies = bus.replies;
    }

    void send(const ByteArray& message) {
        const ExpectedSending sending(message, room, expected.nextId(), PlayedHost{expected});
        require(transport.writeMessage(message) == sending.success, "a message is sent when each packet is accepted");
        expected.waited += sending.waited;
    }

    void check() {
        require(bus.calls == expected.calls, "the bus is asked for what the exchange needs, and for nothing else");
        require(packets == expected.packets, "message packets are delivered as they came");
        require(messages == expected.received.messages, "messages are the payloads of their frame");
        require(takeSkippedSleep() == expected.waited, "a late host is given its time");
        expected.waited = std::chrono::nanoseconds(0);
        bus.calls.clear();
        expected.calls.clear();
    }

    /// Gives the result of each packet in the order in which `ExpectedSending` asks for it.
    struct PlayedHost {
        ExpectedLink& link;
        WriteDataResponse operator()(const ByteArray& packet) const { return link.write(packet); }
    };

    size_t room;
    PlayedBus bus;
    PlayedLink link;
    HostLinkTransportLayer transport;
    ExpectedLink expected;
    std::vector<ByteArray> packets;
    std::vector<ByteArray> messages;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    formatLog(input.below(8) == 7);
    Conversation conversation(1 + input.below(256));
    for (int step = 0; step < 48 && !input.empty(); ++step) conversation.step(input);
    return 0;
}
