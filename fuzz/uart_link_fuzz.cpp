// A whole link over a serial port that the input plays: packets and noise from the host, messages to it, every answer,
// cut into reads of any size. The link's reader thread is its own; each step ends when it has nothing more to read.
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "support/ExpectedTraffic.h"
#include "support/Input.h"
#include "support/Logging.h"
#include "support/Require.h"
#include "support/SkippedSleeps.h"
#include "support/scripted/ScriptedPort.h"

namespace {

constexpr auto devicePath = "/dev/played";
constexpr int patience = 120000; // milliseconds: no answer is waited for that long
constexpr size_t oneRead = 64;   // what the reader asks for between packets

/// How the host answers a packet; `Gone` ends the link.
enum class Answer : unsigned char { Neither, Nack, Ack, Both, Reset, Gone };

struct Turn {
    ByteArray before; // comes ahead of the answer
    Answer answer;
};

HostLinkPhysicalLayer::Properties propertiesOf(size_t room) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, devicePath);
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, patience);
    properties.setInt(MaxPacketSize, static_cast<int>(room + 10));
    return properties;
}

class Conversation {
public:
    explicit Conversation(size_t payloadRoom)
        : room(payloadRoom), port(devicePath), link(propertiesOf(payloadRoom)), transport(&link) {
        link.addDataReceivedObserver([this](ByteArray packet) {
            const std::lock_guard lock(mutex);
            packets.push_back(std::move(packet));
        });
        transport.addMessageReceivedObserver([this](ByteArray message) {
            const std::lock_guard lock(mutex);
            messages.push_back(std::move(message));
        });
        port.onWrite([this](const ByteArray& packet) {
            if (packet.size() > 8) answer();
        });
        require(link.init(), "the link starts");
        takeSkippedSleep();
    }

    bool step(Input& input) {
        const unsigned choice = input.byte();
        cutSize = 1 + choice / 4;
        switch (choice % 4) {
        case 0: supply(packet(input, true)); break;
        case 1: supplyNoise(input); break;
        case 2: supplyBadPacket(input); break;
        default: send(input); break;
        }
        settle();
        check();
        return !gone;
    }

private:
    // --- the host ---

    // A response that nobody waits for is forgotten when the next packet is written.
    static ByteArray packet(Input& input, bool nobodyWaits) {
        const unsigned choice = input.byte();
        const unsigned frameId = choice % 3;
        if (choice % 16 == 13 && nobodyWaits) return responseFrame(0xE3, 0);
        if (choice % 16 == 15) return packetOf(0x22, frameId, 0, {1, 0, 0, 0});
        if (choice % 16 == 14) return {0xFF, 0xFE, 8, 0, 0x21, 0, 0, 0};
        const unsigned flags = choice % 4 == 0 ? 0x03 : 0x23;
        ByteArray payload = input.bytes(choice);
        if (payload.empty()) payload = {0xFF};
        return packetOf(flags, frameId, 0, payload);
    }

    // In reads of `cutSize` bytes, or as many as the link asks for.
    void supply(const ByteArray& bytes) {
        if (bytes.empty()) return;
        for (size_t from = 0; from < bytes.size(); from += cutSize)
            port.supply(slice(bytes, from, std::min(bytes.size(), from + cutSize)));
        expectPacket(bytes);
    }

    // Bytes without a start mark, in one read: they are dropped before anything else comes.
    void supplyNoise(Input& input) {
        ByteArray noise = input.bytes(oneRead);
        noise.resize(std::max<size_t>(noise.size(), 8));
        for (unsigned char& byte : noise) byte &= 0x7F;
        port.supply(noise);
    }

    // One with a length that cannot be, and enough noise behind it to be dropped in the same read.
    void supplyBadPacket(Input& input) {
        static constexpr int lengths[] = {0, 1, 2, 3, 4, 5, 6, 7, 9, 10};
        ByteArray packet = packetOf(0x23, 0x11, 0, {0, 1, 2}, lengths[input.below(10)]);
        packet.resize(24);
        port.supply(packet);
        acknowledge(0x63);
    }

    void expectPacket(const ByteArray& bytes) {
        const reference::Packet parts(bytes);
        if (parts.isResponse()) return;
        acknowledge(parts.isMessage() ? 0xA3 : 0x63);
        if (parts.isMessage()) expectedPackets.push_back(bytes);
        expected.take(bytes);
    }

    void acknowledge(unsigned flags) {
        acknowledgements.push_back(responseFrame(flags, 0));
        ++frameIds;
    }

    // Inside the link's write, on the writer's thread.
    void answer() {
        Turn turn{{}, Answer::Ack};
        if (!turns.empty()) {
            turn = turns.front();
            turns.pop_front();
        }
        supply(turn.before);
        if (turn.answer == Answer::Gone) return port.failRead();
        // A reset frame is no answer: it is refused, and the one behind it counts.
        if (turn.answer == Answer::Reset) supply({0xFF, 0xFE, 8, 0, 0x21, 0, 0, 0});
        const unsigned type = turn.answer == Answer::Reset ? 2 : static_cast<unsigned>(turn.answer);
        supply(responseFrame(0x23 | type << 6, 0));
    }

    // --- the module ---

    void send(Input& input) {
        const unsigned count = input.below(6);
        for (unsigned i = 0; i < count; ++i) {
            const unsigned choice = input.byte();
            const auto kind = static_cast<Answer>(choice % 32 == 31 ? 5 : choice % 5);
            turns.push_back({choice >= 192 ? packet(input, false) : ByteArray(), kind});
        }
        const ByteArray message = input.bytes(input.below(128));
        const std::deque<Turn> script = turns;
        const unsigned frameId = frameIds++;
        const ExpectedSending sending(message, room, frameId, [&, next = size_t{0}](const ByteArray&) mutable {
            return resultOf(next < script.size() ? script[next++].answer : Answer::Ack);
        });
        require(transport.writeMessage(message) == sending.success, "a message is sent when each packet is accepted");
        turns.clear();
        packetsSent.insert(packetsSent.end(), sending.written.begin(), sending.written.end());
        require(takeSkippedSleep() == sending.waited, "10 ms lie between two attempts");
    }

    WriteDataResponse resultOf(Answer answer) {
        switch (answer) {
        case Answer::Nack: return Rejected;
        case Answer::Ack:
        case Answer::Reset: return Accepted;
        case Answer::Both: return Error;
        case Answer::Gone: gone = true; return NoResponse;
        case Answer::Neither: break;
        }
        return NoResponse;
    }

    // --- what has come of it ---

    void settle() {
        if (!gone) require(port.waitForIdleReader(), "the reader reads all there is");
        if (gone) require(port.waitForWrites(acknowledgements.size() + packetsSent.size()), "what came is answered");
    }

    void check() {
        {
            const std::lock_guard lock(mutex);
            require(packets == expectedPackets, "message packets are delivered as they came, and nothing else");
            require(messages == expected.messages, "messages are the payloads of their frame");
        }
        std::vector<ByteArray> sent;
        std::vector<ByteArray> answers;
        for (ByteArray bytes : port.writes()) {
            if (bytes.size() > 8) {
                sent.push_back(bytes);
            } else {
                bytes[5] = 0; // its frame id depends on which thread came first
                answers.push_back(bytes);
            }
        }
        require(sent == packetsSent, "packets carry slices of the message, those that are rejected up to four times");
        require(answers == acknowledgements, "one acknowledgement for each packet of the host, in order");
    }

    size_t room;
    ScriptedPort port; // before the link, which closes it
    std::mutex mutex;  // guards packets and messages
    std::vector<ByteArray> packets;
    std::vector<ByteArray> messages;
    UartPhysicalLayer link;
    HostLinkTransportLayer transport;

    size_t cutSize = 1;
    std::deque<Turn> turns;
    ExpectedMessages expected;
    std::vector<ByteArray> expectedPackets;
    std::vector<ByteArray> packetsSent;
    std::vector<ByteArray> acknowledgements; // with frame id 0
    unsigned frameIds = 0;                   // drawn so far
    bool gone = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    formatLog(input.below(8) == 7);
    Conversation conversation(1 + input.below(256));
    for (int step = 0; step < 24 && !input.empty(); ++step) {
        if (!conversation.step(input)) break;
    }
    return 0;
}
