// The whole stack with the simulated host, over either bus: system calls, interrupt line and host model together.

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/HostLinkUInt16Message.h>
#include <hostlink/HostLinkValueMessage.h>
#include <hostlink/HostLinkVocabulary.h>

#include "support/rig/RigControl.h"

namespace {

/// Keeps what a link delivers.
class Inbox {
public:
    void add(const ByteArray& message) {
        const std::lock_guard<std::mutex> lock(mutex);
        messages.push_back(message);
        changed.notify_all();
    }
    /// All of them, once there are `count` or no more come for a very generous time.
    std::vector<ByteArray> waitFor(size_t count) {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait_for(lock, std::chrono::seconds(60), [&] { return messages.size() >= count; });
        return messages;
    }

private:
    std::mutex mutex; ///< guards `messages`
    std::condition_variable changed;
    std::vector<ByteArray> messages;
};

/// A link to one board, with a transport over it.
class Module {
public:
    Module(const std::string& wire, const busrig::RigBoard& board) {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, wire == "i2c" ? board.i2cPath : board.spiPath);
        properties.setInt(GpioNumber, board.gpio);
        properties.setInt(I2cSlaveAddress, board.i2cAddress);
        properties.setInt(SpiSpeed, 1000000);
        link.reset(HostLinkPhysicalLayer::create(wire.c_str(), properties));
        transport = std::make_unique<HostLinkTransportLayer>(link.get());
        transport->addMessageReceivedObserver([this](const ByteArray& message) { inbox.add(message); });
        transport->initTransportLayer();
    }
    ~Module() {
        transport->shutdown();
        transport.reset();
    }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    bool write(const ByteArray& message) { return transport->writeMessage(message); }
    Inbox inbox; // outlives the link that fills it

private:
    std::unique_ptr<HostLinkPhysicalLayer> link;
    std::unique_ptr<HostLinkTransportLayer> transport;
};

/// The numbers in the events of a burst, in the order of arrival.
std::vector<unsigned> eventNumbers(const std::vector<ByteArray>& messages) {
    std::vector<unsigned> numbers;
    for (const ByteArray& bytes : messages) {
        const HostLinkValueMessage message(bytes);
        bool ok = false;
        if (message.getTag(0, &ok) == BUT_KeyRepeated && ok) numbers.push_back(message.getUint32(0, &ok));
    }
    return numbers;
}

std::vector<unsigned> upTo(unsigned count) {
    std::vector<unsigned> numbers(count);
    for (unsigned i = 0; i < count; i++) numbers[i] = i;
    return numbers;
}

class BusConversation : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override { rig.reset(); }

    busrig::RigControl rig;
};

INSTANTIATE_TEST_SUITE_P(Wires, BusConversation, ::testing::Values("i2c", "spi"),
                         [](const auto& wire) { return wire.param; });

TEST_P(BusConversation, SetsTheLineUp) {
    const Module module(GetParam(), busrig::firstBoard);
    EXPECT_EQ(rig.sysfsLog(), (std::vector<std::string>{"export 17", "direction in", "edge falling"}));
}

TEST_P(BusConversation, RequestIsAnsweredThroughTheInterruptLine) {
    Module module(GetParam(), busrig::firstBoard);
    HostLinkUInt16Message request(MSG_GetState);
    request.addValue(1);
    EXPECT_TRUE(module.write(request.serialize()));
    const std::vector<ByteArray> answers = module.inbox.waitFor(1);
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(HostLinkValueMessage(answers[0]).size(), 1);
    EXPECT_TRUE(rig.waitForCounts({{"messagesReceived", 1}, {"messagesSent", 1}}));
    EXPECT_EQ(rig.count("interrupts"), 1U);
}

TEST_P(BusConversation, MessagesInBothDirectionsAtOnceArriveCompleteInOrderAndOnce) {
    constexpr unsigned count = 500;
    Module module(GetParam(), busrig::firstBoard);
    HostLinkUInt16Message request(MSG_GetState);
    for (unsigned short id = 0; id < 40; id++) request.addValue(id); // more than one packet
    rig.burst(count);
    for (unsigned i = 0; i < count; i++) ASSERT_TRUE(module.write(request.serialize())) << i;
    EXPECT_TRUE(
        rig.waitForCounts({{"messagesReceived", count}, {"messagesSent", 2 * count}}, std::chrono::seconds(60)));
    const std::vector<ByteArray> messages = module.inbox.waitFor(2 * count);
    EXPECT_EQ(messages.size(), 2 * count);
    EXPECT_EQ(eventNumbers(messages), upTo(count));
    EXPECT_EQ(rig.count("duplicatePackets"), 0U);
    EXPECT_EQ(rig.count("messagesReceived"), count);
}

TEST_P(BusConversation, TwoLinksAtOnceDoNotDisturbEachOther) {
    constexpr unsigned count = 100;
    busrig::RigControl secondRig(busrig::secondBoard);
    Module first(GetParam(), busrig::firstBoard);
    Module second("spi", busrig::secondBoard);
    rig.burst(count);
    secondRig.burst(2 * count);
    EXPECT_EQ(eventNumbers(first.inbox.waitFor(count)), upTo(count));
    EXPECT_EQ(eventNumbers(second.inbox.waitFor(2 * count)), upTo(2 * count));
}

TEST_P(BusConversation, GoesOnAfterEachFault) {
    Module module(GetParam(), busrig::firstBoard);
    size_t expected = 0;
    for (const char* fault : {"late 2", "wrong-start 1", "edge-back-high 1", "edge-burst 4", "mute 1", "silent 1"}) {
        rig.fault(fault);
        rig.send({0x01, 0x02, 0x03}); // delivered as it is: the transport does not read it
        expected++;
        EXPECT_EQ(module.inbox.waitFor(expected).size(), expected) << fault;
        EXPECT_TRUE(rig.waitForCount("messagesSent", expected)) << fault;
    }
}

} // namespace
