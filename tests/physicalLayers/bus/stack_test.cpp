// Transport, link, system calls and the simulated host together, over either bus. Every message is written out by hand.
#include <algorithm>
#include <memory>
#include <thread>

#include <hostlink/HostLinkTransportLayer.h>

#include "BusRigTest.h"

using testing::Each;
using testing::ElementsAre;

namespace {

class BusStack : public BusRigTest {
protected:
    void open(const HostLinkPhysicalLayer::Properties& all) {
        make(all);
        transport = std::make_unique<HostLinkTransportLayer>(link.get());
        transport->addMessageReceivedObserver([this](ByteArray message) { messages.add(std::move(message)); });
        transport->initTransportLayer();
        ASSERT_NE(linkThreads.polling(), -1); // as in `init`
    }
    void SetUp() override {
        BusRigTest::SetUp();
        open(properties());
    }
    void TearDown() override {
        transport->shutdown();
        transport.reset();
        link.reset();
    }

    /// Sends a message and waits for these, which have to be all that come.
    void expectAnswers(const ByteArray& request, const std::vector<ByteArray>& answers) {
        ASSERT_TRUE(transport->writeMessage(request)) << hex(request);
        expectMessages(answers);
    }
    void expectAnswers(const std::string& request, const std::vector<std::string>& answers) {
        std::vector<ByteArray> expected;
        for (const std::string& answer : answers) expected.push_back(bytes(answer));
        expectAnswers(bytes(request), expected);
    }
    void expectMessages(const std::vector<ByteArray>& expected) {
        ASSERT_TRUE(messages.waitForCount(seen + expected.size()));
        ASSERT_TRUE(rig.waitForCount("messagesSent", seen + expected.size())); // the host has heard our last response
        const std::vector<ByteArray> all = messages.all();
        EXPECT_EQ(std::vector<ByteArray>(all.begin() + static_cast<long>(seen), all.end()), expected);
        seen = all.size();
    }

    /// TCP_Connection (0) Uint16 7 and TCP_Data (1) Bin16; the host's end of the tunnel is an echo.
    static ByteArray tunnelData(const ByteArray& data) {
        const ByteArray length{static_cast<unsigned char>(data.size() & 0xFF),
                               static_cast<unsigned char>(data.size() >> 8)};
        return bytes("08 00 02 00 00 CD 07 00 01 00 C5") + length + data;
    }
    void expectEcho(size_t size) {
        const ByteArray message = tunnelData(patternBytes(size));
        expectAnswers(message, {bytes("09 80 02 00 00 CD 07 00 01 00 CC 00"), message});
    }

    Received messages;
    size_t seen = 0;
    std::unique_ptr<HostLinkTransportLayer> transport;
};

OVER_BOTH_WIRES(BusStack);

TEST_P(BusStack, StatesAreSetReadAndSubscribedTo) {
    // PlayerVolume (9) Uint8 5, MetaTitle (0x000C) Bin16 "Hi"
    expectAnswers("01 00 02 09 00 CC 05 0C 00 C5 02 00 48 69", {"01 80 02 09 00 CC 05 0C 00 C5 02 00 48 69"});
    expectAnswers("02 00 03 08 00 09 00 08 00", {"02 80 03 08 00 C0 09 00 CC 05 08 00 C0"});
    expectAnswers("03 00 01 09 00", {"03 80 01 09 00"});
    expectAnswers("01 00 01 09 00 CC 06", {"01 80 01 09 00 CC 06", "04 00 01 09 00 CC 06"});
    expectAnswers("05 00 01 09 00", {"05 80 01 09 00"});
    expectAnswers("01 00 01 09 00 CC 07", {"01 80 01 09 00 CC 07"});
    EXPECT_THAT(errors(), testing::IsEmpty());
}

TEST_P(BusStack, AnswerCostsOneInterrupt) {
    expectAnswers("03 00 01 09 00", {"03 80 01 09 00"});
    EXPECT_EQ(rig.count("interrupts"), 1U);
}

TEST_P(BusStack, InputEventsArrive) {
    rig.press(0x0103);
    expectMessages({bytes("06 00 01 01 00 CD 03 01"), bytes("06 00 01 00 00 CD 03 01")});
}

TEST_P(BusStack, FileIsTransferredWithItsChecksums) {
    // Checksums by a bitwise CRC in Python: polynomial 0x04C11DB7, not reflected, initial register 0xFFFFFFFF, every
    // four bytes fed in reverse, the end padded with zeros. "1234", "5678", "9".
    expectAnswers("07 00 03 00 00 C5 01 00 66 01 00 CD 00 00 02 00 C5 04 00 31 32 33 34",
                  {"07 80 02 01 00 CD 00 00 04 00 CE 28 14 09 C2"});
    expectAnswers("07 00 02 01 00 CD 01 00 02 00 C5 04 00 35 36 37 38",
                  {"07 80 02 01 00 CD 01 00 04 00 CE 4E 25 54 16"});
    expectAnswers("07 00 03 01 00 CD 02 00 02 00 C5 01 00 39 03 00 C0",
                  {"07 80 05 01 00 CD 02 00 04 00 CE E4 40 FF 31 03 00 C0 06 00 CE 09 00 00 00 "
                   "04 00 CE 57 90 F1 AF"});
}

TEST_P(BusStack, MessagesOfManyPacketsGoBothWays) {
    for (const size_t size : {0U, 38U, 39U, 93U, 1000U, 10000U}) expectEcho(size);
    EXPECT_EQ(rig.count("badPackets"), 0U);
    EXPECT_EQ(rig.count("nacksReceived"), 0U);
}

TEST_P(BusStack, MessagesOfManyPacketsGoWhileEventsCome) {
    constexpr unsigned count = 500;
    const ByteArray message = tunnelData(patternBytes(100));
    rig.burst(count);
    for (unsigned i = 0; i < count; ++i) ASSERT_TRUE(transport->writeMessage(message)) << i;
    // An event of the burst, two answers to each message.
    ASSERT_TRUE(
        rig.waitForCounts({{"messagesReceived", count}, {"messagesSent", 3 * count}}, std::chrono::seconds(60)));
    ASSERT_TRUE(messages.waitForCount(3 * count));
    const std::vector<ByteArray> all = messages.all();
    EXPECT_EQ(std::count(all.begin(), all.end(), message), static_cast<long>(count));
    EXPECT_EQ(rig.count("duplicatePackets"), 0U);
}

TEST_P(BusStack, LargePacketsAreWrittenWhole) {
    TearDown();
    HostLinkPhysicalLayer::Properties large = properties();
    large.setInt(MaxPacketSize, 1024);
    open(large);
    expectEcho(5000);
}

TEST_P(BusStack, HostThatAnnouncesSizesIsReadAll) {
    newHost("irqAnnounceFirst=1");
    expectEcho(200);
    EXPECT_THAT(errors(), testing::IsEmpty());
}

TEST_P(BusStack, HostThatRefusesOnceIsAskedAgain) {
    newHost("irqNackFirst=1");
    expectEcho(200);
    EXPECT_THAT(errors(), Each(std::string("Received NACK to IRQ frame, retrying")));
}

TEST_P(BusStack, HostThatRefusesOftenDeliversAfterItsNextEdges) {
    newHost("irqNackFirst=3,interruptRepeatMs=250"); // twice
    rig.send({0x06, 0x00, 0x01, 0x00, 0x00, 0xC0});
    expectMessages({bytes("06 00 01 00 00 C0")});
    // Where a busy machine holds up what an edge asks for, another one comes, which finds nothing in the end.
    std::vector<std::string> refusals = errors();
    const std::string foundNothing = "Received ack type 0 to IRQ frame, already retried:0";
    refusals.erase(std::remove(refusals.begin(), refusals.end(), foundNothing), refusals.end());
    EXPECT_THAT(refusals, ElementsAre("Received NACK to IRQ frame, retrying",
                                      "Received ack type 1 to IRQ frame, already retried:1",
                                      "Received ack type 1 to IRQ frame, already retried:1"));
}

TEST_P(BusStack, HostThatIsLateIsWaitedFor) {
    newHost("lateTransfers=2");
    expectEcho(200);
    EXPECT_THAT(errors(), testing::IsEmpty());
}

TEST_P(BusStack, HostThatRefusesPacketsGetsThemAgain) {
    newHost("nackFirst=3");
    expectEcho(200);
}

TEST_P(BusStack, MessageIsGivenUpAfterTheFourthRefusal) {
    newHost("nackFirst=4");
    EXPECT_FALSE(transport->writeMessage(bytes("03 00 01 09 00")));
    EXPECT_EQ(rig.count("nacksSent"), 4U);
}

TEST_P(BusStack, GoesOnAfterEachFaultOfTheWire) {
    newHost("interruptRepeatMs=250");
    for (const char* fault : {"late 2", "wrong-start 1", "edge-back-high 1", "edge-burst 4", "mute 1", "silent 1"}) {
        rig.fault(fault);
        rig.send({0x01, 0x02, 0x03}); // delivered as it is: the transport does not read it
        expectMessages({bytes("01 02 03")});
        ASSERT_FALSE(HasFatalFailure()) << fault;
    }
}

TEST_P(BusStack, TwoLinksAtOnceDoNotDisturbEachOther) {
    constexpr unsigned count = 100;
    const Wire otherWire = GetParam() == Wire::I2c ? Wire::Spi : Wire::I2c;
    busrig::RigControl otherRig(busrig::secondBoard);
    otherRig.command(patientHost); // as the first
    const std::unique_ptr<HostLinkPhysicalLayer> otherLink(
        HostLinkPhysicalLayer::create(nameOf(otherWire).c_str(), propertiesOf(otherWire, busrig::secondBoard)));
    Received otherMessages;
    HostLinkTransportLayer other(otherLink.get());
    other.addMessageReceivedObserver([&](ByteArray message) { otherMessages.add(std::move(message)); });
    other.initTransportLayer();
    EXPECT_THAT(rig.sysfsLog(),
                ElementsAre("export 17", "direction in", "edge falling", "export 27", "direction in", "edge falling"));

    rig.burst(count);
    otherRig.burst(2 * count);
    std::thread writer([&] {
        for (unsigned i = 0; i < count; ++i) EXPECT_TRUE(other.writeMessage(bytes("03 80 01 09 00"))) << i;
    });
    for (unsigned i = 0; i < count; ++i) EXPECT_TRUE(transport->writeMessage(bytes("03 80 01 09 00"))) << i;
    writer.join();
    EXPECT_TRUE(messages.waitForCount(count));
    EXPECT_TRUE(otherMessages.waitForCount(2 * count));
    EXPECT_TRUE(rig.waitForCounts({{"messagesReceived", count}, {"messagesSent", count}}));
    EXPECT_TRUE(otherRig.waitForCounts({{"messagesReceived", count}, {"messagesSent", 2 * count}}));
    EXPECT_EQ(messages.count(), count);
    EXPECT_EQ(otherMessages.count(), 2 * count);

    // The end of one is not the end of the other.
    other.shutdown();
    seen = count;
    expectAnswers("03 00 01 09 00", {"03 80 01 09 00"});
}

} // namespace
