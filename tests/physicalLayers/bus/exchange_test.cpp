// Exchanges that an edge starts, and writes, under the faults of a bus.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "BusRigTest.h"

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const ByteArray ack = responseFrame(0xA3, 0);
const ByteArray nack = responseFrame(0x63, 0);
const ByteArray neither = responseFrame(0x23, 0);

class BusExchange : public BusRigTest {
protected:
    void SetUp() override {
        BusRigTest::SetUp();
        startManual();
    }

    void exchange() {
        edge();
        ASSERT_TRUE(waitForExchanges(edges));
    }
};

OVER_BOTH_WIRES(BusExchange);

TEST_P(BusExchange, AnnouncementOf200LeadsToAReadOf200) {
    const ByteArray large = messageEnd(9, 0, patternBytes(190));
    rig.reply(irqFrame(0, 200));
    rig.reply(large);
    exchange();
    EXPECT_EQ(delivered.all(), std::vector<ByteArray>{large});
    EXPECT_EQ(busTexts(), (std::vector<std::string>{"w " + busrig::toHex(irqFrame(0, 64)),
                                                    "r " + busrig::toHex(asRead(irqFrame(0, 200))),
                                                    "w " + busrig::toHex(irqFrame(1, 200)), "r " + busrig::toHex(large),
                                                    "w fffe0800a3020000"}));
}

TEST_P(BusExchange, RefusalIsRetriedOnceAndNotAgainUntilTheHostAnswers) {
    for (const ByteArray& reply : {nack, nack}) rig.reply(reply);
    exchange();
    EXPECT_THAT(errors(), ElementsAre("Received NACK to IRQ frame, retrying",
                                      "Received ack type 1 to IRQ frame, already retried:1"));
    rig.reply(nack);
    exchange(); // no retry: the third refusal in a row
    EXPECT_EQ(errors().back(), "Received ack type 1 to IRQ frame, already retried:1");
    EXPECT_EQ(irqFrames(), 3U);
    rig.reply(numberedMessage(1));
    exchange();
    for (const ByteArray& reply : {nack, numberedMessage(2)}) rig.reply(reply);
    exchange();
    EXPECT_EQ(errors().back(), "Received NACK to IRQ frame, retrying");
    EXPECT_THAT(delivered.all(), ElementsAre(asRead(numberedMessage(1)), asRead(numberedMessage(2))));
}

TEST_P(BusExchange, HostThatAnnouncesForEverIsGivenUpAndTheNextEdgeServed) {
    for (int i = 0; i < 64; ++i) rig.reply(irqFrame(0, 64));
    exchange();
    EXPECT_THAT(errors(), ElementsAre("Exchange given up after 64 IRQ frames without a message"));
    EXPECT_EQ(rig.count("scripted"), 0U);
    EXPECT_EQ(irqFrames(), 64U);
    rig.reply(numberedMessage(1));
    edge();
    EXPECT_TRUE(delivered.waitForCount(1));
}

TEST_P(BusExchange, HostThatRefusesAndAnnouncesInTurnIsGivenUp) {
    for (int i = 0; i < 32; ++i) {
        rig.reply(nack);
        rig.reply(irqFrame(0, 64));
    }
    exchange();
    EXPECT_EQ(errors().back(), "Exchange given up after 64 IRQ frames without a message");
    EXPECT_THAT(errors(), SizeIs(33));
    EXPECT_EQ(irqFrames(), 64U);
}

TEST_P(BusExchange, OtherRepliesEndTheExchange) {
    rig.reply(neither);
    exchange();
    rig.reply(ack);
    exchange();
    rig.reply(responseFrame(0xE3, 0));
    exchange();
    rig.reply(bytes("FF FE 08 00 21 01 00 00"));
    exchange();
    EXPECT_THAT(errors(),
                ElementsAre("Received ack type 0 to IRQ frame, already retried:0",
                            "Received ack type 2 to IRQ frame, already retried:0",
                            "Received ack type 3 to IRQ frame, already retried:0", "Unsupported incoming message: 1"));
    EXPECT_EQ(rig.count("writes"), 4U); // the questions, and no acknowledgement
}

TEST_P(BusExchange, InvalidReplyIsRefused) {
    rig.reply(bytes("FF FE 0A 00 23 07 00 00 00 00"));
    exchange();
    EXPECT_THAT(errors(), ElementsAre("Invalid message received"));
    EXPECT_EQ(busTexts().back(), "w fffe080063010000");
    EXPECT_EQ(delivered.count(), 0U);
}

TEST_P(BusExchange, SilentHostIsRefusedAfterThreeReReads) {
    exchange();
    EXPECT_THAT(errors(), ElementsAre("Serial device read write failed", "Invalid message received"));
    EXPECT_EQ(rig.count("reads"), 4U);
    EXPECT_EQ(busTexts().back(), "w fffe080063010000");
}

TEST_P(BusExchange, MessageThatStartsLateIsDelivered) {
    for (const unsigned late : {1U, 2U, 3U}) {
        const uint64_t reads = rig.count("reads");
        log.clear();
        edges = 0;
        rig.reply(numberedMessage(late));
        rig.fault("late " + std::to_string(late));
        exchange();
        EXPECT_EQ(delivered.count(), late);
        EXPECT_EQ(rig.count("reads") - reads, late + 1);
        // The last re-read is returned without a look at it.
        EXPECT_EQ(log.count("Serial device read write failed"), late == 3 ? 1U : 0U);
    }
}

TEST_P(BusExchange, MessageThatStartsLaterThanTheLastReReadIsRefused) {
    rig.reply(numberedMessage(1));
    rig.fault("late 4");
    exchange();
    EXPECT_EQ(delivered.count(), 0U);
    EXPECT_EQ(busTexts().back(), "w fffe080063010000");
    rig.fault("none");
    exchange(); // the host still has it
    EXPECT_EQ(delivered.count(), 1U);
}

TEST_P(BusExchange, WrongStartIsReadAgain) {
    rig.reply(numberedMessage(1));
    rig.reply(numberedMessage(2));
    rig.fault("wrong-start 1");
    exchange();
    EXPECT_EQ(delivered.all(), std::vector<ByteArray>{asRead(numberedMessage(2))});
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(BusExchange, ShortTransferIsReadAgain) {
    rig.reply(numberedMessage(1));
    rig.fault("short 1");
    exchange();
    EXPECT_EQ(delivered.all(), std::vector<ByteArray>{asRead(numberedMessage(1))});
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(BusExchange, BusErrorIsReadAgain) {
    for (const char* name : {"ENXIO", "EREMOTEIO", "ETIMEDOUT", "EIO"}) {
        const size_t before = delivered.count();
        log.clear();
        edges = 0;
        rig.replyError(name);
        rig.reply(numberedMessage(1));
        exchange();
        EXPECT_EQ(delivered.count(), before + 1) << name;
        EXPECT_THAT(errors(), IsEmpty()) << name;
    }
    EXPECT_EQ(rig.count("errors"), 4U);
}

TEST_P(BusExchange, BusThatFailsThroughoutIsReported) {
    for (const char* name : {"ENXIO", "EREMOTEIO", "ETIMEDOUT"}) {
        log.clear();
        edges = 0;
        rig.fault(std::string("bus-nack all ") + name);
        exchange();
        EXPECT_THAT(errors(),
                    ElementsAre("Serial device read write failed", "Invalid message received", "Serial write failed"))
            << name;
    }
    rig.fault("none");
    rig.reply(numberedMessage(1));
    edge();
    EXPECT_TRUE(delivered.waitForCount(1));
}

TEST_P(BusExchange, MessageWhoseAcknowledgementFailsIsDelivered) {
    rig.reply(numberedMessage(1));
    rig.replyError("ENXIO");
    exchange();
    EXPECT_EQ(delivered.count(), 1U);
    EXPECT_THAT(errors(), ElementsAre("Serial write failed"));
}

// A size beyond what the driver takes is refused by the serial library, and so is no size at all.
TEST_P(BusExchange, UnusableAnnouncementsEndInARefusal) {
    for (const ByteArray& size : {bytes("00 00 00 00"), bytes("FF FF FF FF"), bytes("00 00 00 10")}) {
        log.clear();
        edges = 0;
        rig.reply(packetOf(0x22, 0, 0, size));
        exchange();
        EXPECT_THAT(errors(), ElementsAre("Serial device read write failed", "Invalid message received")) << hex(size);
    }
    rig.reply(numberedMessage(1));
    edge();
    EXPECT_TRUE(delivered.waitForCount(1));
}

// --- Writes ---

class BusWrite : public BusRigTest {
protected:
    void SetUp() override {
        BusRigTest::SetUp();
        start();
    }

    WriteDataResponse write() { return link->writeData(packet); }

    const ByteArray packet = numberedMessage(1);
};

OVER_BOTH_WIRES(BusWrite);

TEST_P(BusWrite, PacketAndResponseAreOneTransaction) {
    EXPECT_EQ(write(), Accepted);
    EXPECT_EQ(rig.count("transactions"), 1U);
    EXPECT_EQ(busTexts().front(), "w " + busrig::toHex(packet));
    EXPECT_EQ(busTexts().at(1), "r fffe0800a3070000");
}

TEST_P(BusWrite, EmptyPacketDoesNotTouchTheBus) {
    EXPECT_EQ(link->writeData({}), Accepted);
    EXPECT_EQ(rig.count("transactions"), 0U);
}

TEST_P(BusWrite, LinkWritesBeforeInitAndAfterShutdown) {
    link->shutdown();
    EXPECT_EQ(write(), Accepted);
    make();
    EXPECT_EQ(write(), Accepted);
}

TEST_P(BusWrite, HostsAnswerDecidesTheResult) {
    newHost("nackFirst=1");
    EXPECT_EQ(write(), Rejected);
    EXPECT_EQ(write(), Accepted);
    newHost("ackNackEvery=1");
    EXPECT_EQ(write(), Error);
    newHost("neitherEvery=1");
    EXPECT_EQ(write(), NoResponse);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(BusWrite, ResponseThatStartsLateIsAccepted) {
    for (const char* late : {"1", "2", "3"}) {
        log.clear();
        newHost(std::string("lateTransfers=") + late);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(write(), Accepted) << late;
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::stoi(late) * std::chrono::microseconds(1500));
        EXPECT_EQ(log.count("Serial device read write failed"), late[0] == '3' ? 1U : 0U);
    }
}

TEST_P(BusWrite, ResponseThatStartsLaterThanTheLastReReadIsNone) {
    newHost("lateTransfers=4");
    EXPECT_EQ(write(), NoResponse);
    EXPECT_THAT(errors(),
                ElementsAre("Serial device read write failed", "Expected ack, got something else: 0 valid: 0"));
}

TEST_P(BusWrite, HostThatDoesNotHearOrIsNotHeardGivesNoResponse) {
    for (const char* fault : {"silent 1", "mute 1"}) {
        log.clear();
        rig.fault(fault);
        EXPECT_EQ(write(), NoResponse) << fault;
        EXPECT_THAT(errors(),
                    ElementsAre("Serial device read write failed", "Expected ack, got something else: 0 valid: 0"));
    }
    EXPECT_EQ(write(), Accepted);
}

TEST_P(BusWrite, BusThatDoesNotAcknowledgeGivesNoResponse) {
    for (const char* name : {"ENXIO", "EREMOTEIO", "ETIMEDOUT"}) {
        log.clear();
        rig.fault(std::string("bus-nack 4 ") + name);
        EXPECT_EQ(write(), NoResponse) << name;
        EXPECT_THAT(errors(),
                    ElementsAre("Serial device read write failed", "Error Serial device bus master recv (ack)"));
    }
    EXPECT_EQ(rig.count("errors"), 12U);
    EXPECT_EQ(write(), Accepted);
}

TEST_P(BusWrite, ResponseThatWasCutShortIsReadAgain) {
    rig.fault("short 1"); // the packet goes out, the response does not come in
    EXPECT_EQ(write(), Accepted);
    EXPECT_EQ(rig.count("packetsReceived"), 1U);
    EXPECT_EQ(rig.count("transactions"), 2U);
}

TEST_P(BusWrite, WrongStartOfTheResponseIsReadAgain) {
    rig.fault("wrong-start 2");
    EXPECT_EQ(write(), Accepted);
    EXPECT_EQ(rig.count("packetsReceived"), 1U);
    EXPECT_EQ(rig.count("reads"), 3U);
}

TEST_P(BusWrite, MessageInPlaceOfTheResponseIsNone) {
    rig.slaveManual();
    rig.reply(numberedMessage(1));
    EXPECT_EQ(write(), NoResponse);
    // Read to the length of a response frame, so that it does not verify.
    EXPECT_THAT(errors(), ElementsAre("Expected ack, got something else: 0 valid: 0"));
}

// --- Several threads ---

TEST_P(BusWrite, ObserverMayHaveAnotherThreadWriteWhileTheBusIsBusy) {
    std::vector<std::thread> writers;
    std::atomic<int> accepted{0};
    link->shutdown();
    link->addDataReceivedObserver(
        [&](const ByteArray&) { writers.emplace_back([&] { accepted += write() == Accepted; }); });
    ASSERT_NO_FATAL_FAILURE(init());
    for (int i = 0; i < 10; ++i) rig.press(1); // 20 messages
    ASSERT_TRUE(delivered.waitForCount(20));
    link->shutdown(); // the observers have returned
    for (std::thread& writer : writers) writer.join();
    EXPECT_EQ(writers.size(), 20U);
    EXPECT_EQ(accepted, 20);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(BusWrite, WritersAndExchangesShareTheBus) {
    constexpr int packets = 50;
    constexpr int presses = 25;
    std::atomic<int> accepted{0};
    std::vector<std::thread> writers;
    for (unsigned writer = 0; writer < 3; ++writer) {
        writers.emplace_back([&, writer] {
            for (int i = 0; i < packets; ++i) {
                // Each with a frame id of its own, so that the host tells the packets apart.
                const unsigned id = writer * packets + static_cast<unsigned>(i);
                accepted += link->writeData(messageEnd(id, 0, {0x3F, 0x80, 0})) == Accepted;
            }
        });
    }
    for (int i = 0; i < presses; ++i) rig.press(1);
    for (std::thread& writer : writers) writer.join();
    EXPECT_TRUE(delivered.waitForCount(2 * presses));
    EXPECT_EQ(accepted, 3 * packets);
    EXPECT_EQ(rig.count("messagesReceived"), 3U * packets);
    EXPECT_TRUE(rig.waitForCount("messagesSent", 2 * presses));
    EXPECT_EQ(rig.count("badPackets"), 0U);
}

} // namespace
