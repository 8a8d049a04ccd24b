// Messages through the transport over a link that accepts everything, with logging off.
#include <memory>

#include <log4cplus/logger.h>

#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkTransportLayer.h>

#include "AcceptingLink.h"
#include "Case.h"
#include "Samples.h"
#include "floors/PlainTransport.h"

namespace bench {

namespace {

std::vector<ByteArray> packetsOf(const ByteArray& message, int frameId) {
    const HostLinkMsgFrame frame(message, frameId, 64);
    std::vector<ByteArray> packets;
    packets.reserve(static_cast<size_t>(frame.packetCount()));
    for (int i = 0; i < frame.packetCount(); ++i) packets.push_back(frame.serializePacket(i));
    return packets;
}

ByteArray messageOf(size_t bytes) {
    return bytesOf({"", MSG_DataTransfer, {{2, ENC_Bin16, 0, std::vector<uint8_t>(bytes, 0x5A)}}});
}

// A transport over a link of its own; the observers count bytes.
template <typename Transport> struct Stack {
    explicit Stack(int observers) : transport(&link) {
        for (int i = 0; i < observers; ++i)
            transport.addMessageReceivedObserver([this](const ByteArray& message) { received += message.size(); });
    }
    uint64_t deliver(const std::vector<ByteArray>& packets) {
        received = 0;
        for (const ByteArray& packet : packets) link.deliver(packet);
        return received;
    }

    AcceptingLink link;
    Transport transport;
    uint64_t received = 0;
};

template <typename Transport> void proveStack(const ByteArray& message, const std::string& who) {
    Stack<Transport> stack(1);
    std::vector<ByteArray> written;
    std::vector<ByteArray> delivered;
    stack.link.onWrite = [&](const ByteArray& packet) { written.push_back(packet); };
    stack.transport.addMessageReceivedObserver([&](const ByteArray& bytes) { delivered.push_back(bytes); });
    prove(stack.transport.writeMessage(message) && written == packetsOf(message, 0), who, "the packets of a message");
    stack.deliver(written);
    prove(delivered == std::vector<ByteArray>{message}, who, "a message from its packets");
}

template <typename Transport> void addBothWays(Cases* cases, const std::string& subject) {
    for (const char* name : {"typical", "item900"}) {
        const ByteArray message = bytesOf(sampleNamed(name));
        proveStack<Transport>(message, subject);
        const auto stack = std::make_shared<Stack<Transport>>(1);
        cases->push_back(
            {"transport, writing", subject, name, [=] { return uint64_t{stack->transport.writeMessage(message)}; }});
        cases->push_back({"transport, receiving", subject, name,
                          [stack, packets = packetsOf(message, 5)] { return stack->deliver(packets); }});
    }
}

using LibraryStack = Stack<HostLinkTransportLayer>;

void addMessageSizes(Cases* cases) {
    for (const size_t size : {16, 64, 256, 1024, 4096, 8192}) {
        const auto stack = std::make_shared<LibraryStack>(1);
        stack->link.onWrite = [&link = stack->link](const ByteArray& packet) { link.deliver(packet); };
        const ByteArray message = messageOf(size);
        cases->push_back({"growth, message size", "transport", std::to_string(size), [=] {
                              stack->received = 0;
                              stack->transport.writeMessage(message);
                              return stack->received;
                          }});
    }
}

void addObservers(Cases* cases) {
    for (const int observers : {1, 2, 4, 8, 16, 32}) {
        const auto stack = std::make_shared<LibraryStack>(observers);
        cases->push_back({"growth, observers", "transport", std::to_string(observers),
                          [stack, packets = packetsOf(messageOf(40), 5)] { return stack->deliver(packets); }});
    }
}

void addOpenFrames(Cases* cases) {
    for (const int frames : {1, 4, 16, 64, 255}) {
        const auto stack = std::make_shared<LibraryStack>(1);
        // First packets of messages whose second one never comes, of the ids above the one that is measured.
        for (int i = 1; i <= frames; ++i) stack->link.deliver(packetsOf(messageOf(100), i).front());
        cases->push_back({"growth, open frames", "transport", std::to_string(frames),
                          [stack, packets = packetsOf(messageOf(100), 0)] { return stack->deliver(packets); }});
    }
}

} // namespace

void addTransportCases(Cases* cases) {
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    addBothWays<HostLinkTransportLayer>(cases, "transport");
    addBothWays<PlainTransport>(cases, "without log statements");
}

void addGrowthCases(Cases* cases) {
    addMessageSizes(cases);
    addObservers(cases);
    addOpenFrames(cases);
}

} // namespace bench
