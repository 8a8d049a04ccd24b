#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/HostLinkPrinter.h>
#include <hostlink/HostLinkTransportLayer.h>

#include "support/Bytes.h"
#include "support/FakeLink.h"
#include "support/LogCapture.h"
#include "support/Packets.h"
#include "support/ProcessWatch.h"
#include "support/Signal.h"
#include "support/StaysAlive.h"
#include "support/TraceLine.h"

using std::chrono::milliseconds;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr auto transportLogger = "HostLinkTransportLayer";
constexpr std::chrono::seconds patience{20};
constexpr auto writeSignature = "virtual bool HostLinkTransportLayer::writeMessage(const ByteArray&)";
constexpr auto receiveSignature = "void HostLinkTransportLayer::on_data_received(const ByteArray&)";

// "GetState" of the state 0x0015, and what the printer makes of it.
const ByteArray getState = bytes("02 00 01 15 00");
constexpr auto getStateText = "0x0002 - message id: GetStateMessage\n"
                              "0x01 - count: 1\n"
                              "0x0015 - state: AudioSourceID\n";

class TransportLayer : public testing::Test {
protected:
    // Over a link with that maximum packet size.
    void use(int packetSize) {
        transport.reset();
        link.emplace(FakeLink::packetSize(packetSize));
        construct();
    }
    void construct() {
        transport.emplace(&*link);
        transport->addMessageReceivedObserver([this](ByteArray message) { messages.push_back(std::move(message)); });
    }
    void SetUp() override {
        link.emplace();
        construct();
    }

    std::optional<FakeLink> link;
    std::optional<HostLinkTransportLayer> transport;
    std::vector<ByteArray> messages; // delivered ones
};

LinkFrameFormat format(unsigned code) {
    return static_cast<LinkFrameFormat>(code);
}

std::vector<std::string> errorsOf(const LogCapture& log) {
    return log.texts(log4cplus::ERROR_LOG_LEVEL);
}

// --- Start and stop ---

TEST_F(TransportLayer, ConstructionLeavesTheLinkAlone) {
    EXPECT_THAT(link->calls(), IsEmpty());
}

TEST_F(TransportLayer, ConstructionRegistersOneReceiver) {
    link->deliver(messageEnd(1, 0, getState));
    EXPECT_THAT(messages, ElementsAre(getState));
}

TEST_F(TransportLayer, InitAndShutdownGoToTheLink) {
    transport->initTransportLayer();
    EXPECT_THAT(link->calls(), ElementsAre("init"));
    transport->shutdown();
    EXPECT_THAT(link->calls(), ElementsAre("init", "shutdown"));
}

TEST_F(TransportLayer, InitDoesNotLookAtTheLinksResult) {
    link->initResult = false;
    transport->initTransportLayer();
    EXPECT_TRUE(transport->writeMessage(getState));
}

TEST_F(TransportLayer, InitAndShutdownLogTheirEntryOnly) {
    LogCapture log(transportLogger);
    transport->initTransportLayer();
    transport->shutdown();
    EXPECT_THAT(log.lines(),
                ElementsAre(entered("virtual void HostLinkTransportLayer::initTransportLayer()", transportLogger),
                            entered("virtual void HostLinkTransportLayer::shutdown()", transportLogger)));
}

TEST_F(TransportLayer, WorksWithoutInitAndAfterShutdown) {
    EXPECT_TRUE(transport->writeMessage(getState));
    transport->shutdown();
    EXPECT_TRUE(transport->writeMessage(getState));
    link->deliver(messageEnd(1, 0, getState));
    EXPECT_THAT(messages, SizeIs(1));
}

// --- Sending ---

TEST_F(TransportLayer, EmptyMessageIsSentAsNothing) {
    LogCapture log(transportLogger);
    EXPECT_TRUE(transport->writeMessage({}));
    EXPECT_THAT(link->calls(), ElementsAre("nextFrameId"));
    EXPECT_THAT(log.lines(),
                ElementsAre(entered(writeSignature, transportLogger, "Data size: 0"),
                            debug("Sending Frame: \nInvalid message id\n"), trace("Sending in: 0 packets")));
}

TEST_F(TransportLayer, OnePacketMessageGoesOutWithTheLinksFrameId) {
    link->frameId = 7;
    EXPECT_TRUE(transport->writeMessage(getState));
    EXPECT_THAT(link->calls(), ElementsAre("nextFrameId", "writeData"));
    EXPECT_THAT(link->written(), ElementsAre(bytes("FF FE 0F 00 23 07 00 00 02 00 01 15 00 00 00")));
}

TEST_F(TransportLayer, OnePacketMessageLogsItsStepsInOrder) {
    LogCapture log(transportLogger);
    EXPECT_TRUE(transport->writeMessage(getState));
    EXPECT_THAT(log.lines(),
                ElementsAre(entered(writeSignature, transportLogger, "Data size: 5"),
                            debug(std::string("Sending Frame: \n") + getStateText), trace("Sending in: 1 packets"),
                            debug("Sending Packet: \n"
                                  "0xfeff - sop\n"
                                  "0x000f - length: 15\n"
                                  "0x23 - flags: last message\n"
                                  "0x00 - frame id: 0\n"
                                  "0x00 - packet id: 0\n"
                                  "0x00 - padding\n"),
                            trace("Write response: 0")));
}

TEST_F(TransportLayer, MessageIsCutByTheLinksPacketSize) {
    use(20); // 10 payload bytes a packet
    const ByteArray message = patternBytes(21);
    EXPECT_TRUE(transport->writeMessage(message));
    EXPECT_THAT(link->written(),
                ElementsAre(messagePart(0, 0, slice(message, 0, 10)), messagePart(0, 1, slice(message, 10, 20)),
                            messageEnd(0, 2, slice(message, 20, 21))));
}

TEST_F(TransportLayer, MessageThatFillsItsLastPacketHasNoEmptyOneBehindIt) {
    const ByteArray message = patternBytes(108); // 2 packets of 54 payload bytes
    EXPECT_TRUE(transport->writeMessage(message));
    EXPECT_THAT(link->written(),
                ElementsAre(messagePart(0, 0, slice(message, 0, 54)), messageEnd(0, 1, slice(message, 54, 108))));
}

TEST_F(TransportLayer, EachMessageTakesItsOwnFrameIdEvenWhenItFails) {
    link->answers = {Error};
    EXPECT_FALSE(transport->writeMessage(getState));
    EXPECT_TRUE(transport->writeMessage(getState));
    EXPECT_THAT(link->written(), ElementsAre(messageEnd(0, 0, getState), messageEnd(1, 0, getState)));
}

TEST_F(TransportLayer, FrameIdGoesOutAsItsLowEightBits) {
    link->frameId = 261;
    EXPECT_TRUE(transport->writeMessage(getState));
    link->frameId = -1;
    EXPECT_TRUE(transport->writeMessage(getState));
    EXPECT_THAT(link->written(), ElementsAre(messageEnd(5, 0, getState), messageEnd(255, 0, getState)));
}

TEST_F(TransportLayer, PacketRejectedFourTimesFailsTheMessage) {
    link->answers = {Rejected, Rejected, Rejected, Rejected};
    LogCapture log(transportLogger);
    EXPECT_FALSE(transport->writeMessage(getState));

    const ByteArray packet = messageEnd(0, 0, getState);
    EXPECT_THAT(link->written(), ElementsAre(packet, packet, packet, packet));
    const auto times = link->times();
    ASSERT_THAT(times, SizeIs(4));
    for (size_t i = 1; i < times.size(); ++i) EXPECT_GE(times[i] - times[i - 1], milliseconds(10));
    EXPECT_THAT(log.lines(),
                ElementsAre(entered(writeSignature, transportLogger, "Data size: 5"),
                            debug(std::string("Sending Frame: \n") + getStateText), trace("Sending in: 1 packets"),
                            debug("Sending Packet: \n" + HostLinkPrinter::printHostLinkPacket(packet)),
                            trace("Write response: 1"), trace("Write response: 1"), trace("Write response: 1"),
                            trace("Write response: 1"),
                            error("Unable to write data to the physical layer: rejected after 4 retries")));
}

TEST_F(TransportLayer, PacketRejectedTwiceThenAcceptedIsFollowedByTheNext) {
    use(20);
    const ByteArray message = patternBytes(11);
    link->answers = {Rejected, Rejected, Accepted, Accepted};
    LogCapture log(transportLogger);
    EXPECT_TRUE(transport->writeMessage(message));

    const ByteArray first = messagePart(0, 0, slice(message, 0, 10));
    const ByteArray second = messageEnd(0, 1, slice(message, 10, 11));
    EXPECT_THAT(link->written(), ElementsAre(first, first, first, second));
    EXPECT_THAT(log.lines(),
                ElementsAre(entered(writeSignature, transportLogger, "Data size: 11"),
                            debug("Sending Frame: \n" + HostLinkPrinter::printHostLinkMessage(message)),
                            trace("Sending in: 2 packets"),
                            debug("Sending Packet: \n" + HostLinkPrinter::printHostLinkPacket(first)),
                            trace("Write response: 1"), trace("Write response: 1"), trace("Write response: 0"),
                            debug("Sending Packet: \n" + HostLinkPrinter::printHostLinkPacket(second)),
                            trace("Write response: 0")));
}

TEST_F(TransportLayer, EveryPacketHasItsOwnFourAttempts) {
    use(20);
    link->answers = {Rejected, Rejected, Rejected, Accepted, Rejected, Rejected, Rejected, Accepted};
    LogCapture log(transportLogger);
    EXPECT_TRUE(transport->writeMessage(patternBytes(20)));
    EXPECT_THAT(link->written(), SizeIs(8));
    EXPECT_THAT(errorsOf(log), IsEmpty());
}

TEST_F(TransportLayer, ErrorEndsTheMessageAtOnce) {
    link->answers = {Error};
    LogCapture log(transportLogger);
    EXPECT_FALSE(transport->writeMessage(getState));
    EXPECT_THAT(link->written(), SizeIs(1));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(entered(writeSignature, transportLogger, "Data size: 5"),
                    debug(std::string("Sending Frame: \n") + getStateText), trace("Sending in: 1 packets"),
                    debug("Sending Packet: \n" + HostLinkPrinter::printHostLinkPacket(messageEnd(0, 0, getState))),
                    error("Unable to write data to the physical layer: 2")));
}

TEST_F(TransportLayer, NoResponseEndsTheMessageAtOnce) {
    link->answers = {NoResponse};
    LogCapture log(transportLogger);
    EXPECT_FALSE(transport->writeMessage(getState));
    EXPECT_THAT(link->written(), SizeIs(1));
    EXPECT_THAT(errorsOf(log), ElementsAre("Unable to write data to the physical layer: 3"));
}

TEST_F(TransportLayer, ErrorAfterARejectionEndsTheMessage) {
    link->answers = {Rejected, NoResponse};
    LogCapture log(transportLogger);
    EXPECT_FALSE(transport->writeMessage(getState));
    EXPECT_THAT(link->written(), SizeIs(2));
    EXPECT_THAT(errorsOf(log), ElementsAre("Unable to write data to the physical layer: 3"));
}

TEST_F(TransportLayer, PacketsBehindAFailedOneAreNotSent) {
    use(20);
    link->answers = {Accepted, Error};
    EXPECT_FALSE(transport->writeMessage(patternBytes(30)));
    EXPECT_THAT(link->written(), SizeIs(2));
}

// Message bytes per packet: the size less 10, in 16 bits. 0 and below stand for 64.
struct PacketSizeCase {
    int packetSize;
    size_t packetsOf1;     // of a message of one byte
    size_t packetsOf70000; // of a message of 70000 bytes
};

void PrintTo(const PacketSizeCase& c, std::ostream* out) {
    *out << c.packetSize;
}

class TransportPacketSize : public testing::TestWithParam<PacketSizeCase> {};

TEST_P(TransportPacketSize, AnyMessageIsCutWithoutHarm) {
    for (const size_t size : {size_t{0}, size_t{1}, size_t{70000}}) {
        FakeLink link(FakeLink::packetSize(GetParam().packetSize));
        HostLinkTransportLayer transport(&link);
        EXPECT_TRUE(transport.writeMessage(patternBytes(size)));

        const std::vector<ByteArray> packets = link.written();
        EXPECT_EQ(packets.size(), size == 0 ? 0 : size == 1 ? GetParam().packetsOf1 : GetParam().packetsOf70000);
        // A packet whose length its header cannot express is an empty one.
        for (const ByteArray& packet : packets) {
            if (packet.empty()) continue;
            ASSERT_GE(packet.size(), 10u);
            ASSERT_EQ(packet[2] + 256u * packet[3], packet.size());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Odd, TransportPacketSize,
                         testing::Values(PacketSizeCase{INT_MIN, 1, 1297}, // 64: 54 bytes a packet
                                         PacketSizeCase{-1, 1, 1297},      //
                                         PacketSizeCase{0, 1, 1297},       //
                                         PacketSizeCase{1, 1, 2},          // 65527 bytes a packet
                                         PacketSizeCase{8, 1, 2},          // 65534
                                         PacketSizeCase{9, 1, 2},          // 65535
                                         PacketSizeCase{10, 1, 1},         // no room: one packet without payload
                                         PacketSizeCase{11, 1, 70000},     // 1
                                         PacketSizeCase{12, 1, 35000},     // 2
                                         PacketSizeCase{65535, 1, 2},      // 65525
                                         PacketSizeCase{65536, 1, 2},      // 0 in 16 bits: 65526
                                         PacketSizeCase{65537, 1, 2},      // as 1
                                         PacketSizeCase{65545, 1, 2},      // as 9
                                         PacketSizeCase{65546, 1, 1},      // as 10
                                         PacketSizeCase{65600, 1, 1297},   // as 64
                                         PacketSizeCase{131072, 1, 2},     // as 0 in 16 bits
                                         PacketSizeCase{INT_MAX, 1, 2}));  // as 65535

TEST_F(TransportLayer, PacketSizeOfTenSendsOnePacketWithoutPayload) {
    use(10);
    EXPECT_TRUE(transport->writeMessage(getState));
    EXPECT_THAT(link->written(), ElementsAre(bytes("FF FE 0A 00 03 00 00 00 00 00")));
}

TEST_F(TransportLayer, PacketThatCannotBeBuiltGoesToTheLinkEmptyAndCounts) {
    use(65536); // 65526 bytes a packet: the first packet's length would be 65536
    LogCapture log(transportLogger);
    const ByteArray message = patternBytes(65527);
    EXPECT_TRUE(transport->writeMessage(message));
    EXPECT_THAT(link->written(), ElementsAre(ByteArray(), messageEnd(0, 1, slice(message, 65526, 65527))));
    EXPECT_EQ(log.count("Sending Packet: \nInvalid packet\n"), 1u);
}

TEST_F(TransportLayer, PacketIdsRepeatAfter256Packets) {
    use(11); // one byte a packet
    const ByteArray message = patternBytes(258);
    EXPECT_TRUE(transport->writeMessage(message));
    const std::vector<ByteArray> packets = link->written();
    ASSERT_THAT(packets, SizeIs(258));
    EXPECT_EQ(packets[255], messagePart(0, 255, slice(message, 255, 256)));
    EXPECT_EQ(packets[256], messagePart(0, 0, slice(message, 0, 1)));
    EXPECT_EQ(packets[257], messagePart(0, 1, slice(message, 1, 2)));
}

TEST_F(TransportLayer, WritersAtOnceNeverShareAFrame) {
    constexpr int messagesEach = 60;
    const auto write = [&](unsigned char mark) {
        for (int i = 0; i < messagesEach; ++i) EXPECT_TRUE(transport->writeMessage(ByteArray(60, mark)));
    };
    std::thread other(write, static_cast<unsigned char>(1));
    write(2);
    other.join();

    std::map<int, std::vector<ByteArray>> frames; // by frame id
    for (const ByteArray& packet : link->written()) frames[packet[5]].push_back(packet);
    EXPECT_THAT(frames, SizeIs(2 * messagesEach));
    for (const auto& [id, packets] : frames) {
        ASSERT_THAT(packets, SizeIs(2)) << "frame " << id; // 54 bytes, then 6
        EXPECT_EQ(packets[0][8], packets[1][8]) << "frame " << id << " holds bytes of both writers";
    }
}

// A link that holds the first packet it is given.
class HoldingLink : public FakeLink {
public:
    WriteDataResponse writeData(const ByteArray& packet) override {
        const WriteDataResponse response = FakeLink::writeData(packet);
        if (first.exchange(false)) {
            entered.raise();
            released.wait(patience);
        }
        return response;
    }

    Signal entered;
    Signal released;

private:
    std::atomic<bool> first{true};
};

class TransportFrameIds : public testing::Test {
protected:
    // A message with the frame id 5 is under way from now on.
    TransportFrameIds() {
        link.frameId = 5;
        underWay = std::async(std::launch::async, [this] { return transport.writeMessage(getState); });
        link.entered.wait(patience);
    }
    bool finish() {
        link.released.raise();
        return underWay.get();
    }
    size_t draws() const {
        const std::vector<std::string> calls = link.calls();
        return static_cast<size_t>(std::count(calls.begin(), calls.end(), "nextFrameId"));
    }

    HoldingLink link;
    HostLinkTransportLayer transport{&link};
    std::future<bool> underWay;
};

TEST_F(TransportFrameIds, IdUnderWayIsNotGivenToAnotherMessage) {
    for (const int next : {5, 5 + 256, 5 - 256}) {
        link.frameId = next;
        EXPECT_TRUE(transport.writeMessage(getState));
        EXPECT_EQ(link.written().back(), messageEnd(6, 0, getState)) << next;
    }
    EXPECT_EQ(draws(), 1u + 3 * 2);
    EXPECT_TRUE(finish());
}

TEST_F(TransportFrameIds, IdIsFreeAgainAfterItsMessageWhetherItFailedOrNot) {
    EXPECT_TRUE(finish());
    for (const WriteDataResponse answer : {Accepted, Error, NoResponse, Accepted}) {
        link.frameId = 5;
        link.answers = {answer};
        EXPECT_EQ(transport.writeMessage(getState), answer == Accepted);
        EXPECT_EQ(link.written().back(), messageEnd(5, 0, getState));
    }
}

class SameIdLink : public HoldingLink {
public:
    int nextFrameId() override {
        ++draws;
        return 0;
    }
    std::atomic<int> draws{0};
};

TEST(TransportSameFrameId, LinkThatKnowsOneIdOnlyIsNotAskedForEver) {
    SameIdLink link;
    HostLinkTransportLayer transport(&link);
    std::future<bool> underWay = std::async(std::launch::async, [&] { return transport.writeMessage(getState); });
    ASSERT_TRUE(link.entered.wait(patience));
    EXPECT_TRUE(transport.writeMessage(getState));
    EXPECT_EQ(link.draws, 1 + 256);
    link.released.raise();
    EXPECT_TRUE(underWay.get());
    EXPECT_TRUE(transport.writeMessage(getState));
    EXPECT_EQ(link.draws, 1 + 256 + 1);
}

TEST_F(TransportLayer, EachLineBearsTheNameOfItsOperation) {
    use(20);
    link->answers = {Rejected, Accepted, Rejected, Rejected, Rejected, Rejected};
    LogCapture log(transportLogger);
    EXPECT_FALSE(transport->writeMessage(patternBytes(20)));
    EXPECT_THAT(log.lines(), SizeIs(3 + 1 + 2 + 1 + 4 + 1));
    for (const LogLine& line : log.lines())
        EXPECT_THAT(line.function, HasSubstr("bool HostLinkTransportLayer::writeMessage(const ByteArray")) << line.text;

    log.clear();
    link->answers = {NoResponse};
    EXPECT_FALSE(transport->writeMessage(getState));
    for (const LogLine& line : log.lines())
        EXPECT_THAT(line.function, HasSubstr("bool HostLinkTransportLayer::writeMessage(const ByteArray")) << line.text;

    log.clear();
    link->deliver(messagePart(9, 0, slice(getState, 0, 3)));
    link->deliver(messageEnd(9, 1, slice(getState, 3, 5)));
    EXPECT_THAT(log.lines(), SizeIs(4 + 5));
    for (const LogLine& line : log.lines())
        EXPECT_THAT(line.function, HasSubstr("void HostLinkTransportLayer::on_data_received(const ByteArray"))
            << line.text;
}

// --- Receiving ---

TEST_F(TransportLayer, FrameOfThreePacketsIsDeliveredWithItsLast) {
    const ByteArray message = patternBytes(30);
    link->deliver(messagePart(9, 0, slice(message, 0, 10)));
    link->deliver(messagePart(9, 1, slice(message, 10, 20)));
    EXPECT_THAT(messages, IsEmpty());
    link->deliver(messageEnd(9, 2, slice(message, 20, 30)));
    EXPECT_THAT(messages, ElementsAre(message));
}

TEST_F(TransportLayer, ReceptionLogsItsStepsInOrder) {
    const ByteArray first = messagePart(9, 0, slice(getState, 0, 3));
    const ByteArray second = messageEnd(9, 1, slice(getState, 3, 5));
    LogCapture log(transportLogger);
    link->deliver(first);
    link->deliver(second);
    EXPECT_THAT(log.lines(), ElementsAre(entered(receiveSignature, transportLogger, "Data size: 13"),
                                         debug("Packet received: \n"
                                               "0xfeff - sop\n"
                                               "0x000d - length: 13\n"
                                               "0x03 - flags: message\n"
                                               "0x09 - frame id: 9\n"
                                               "0x00 - packet id: 0\n"
                                               "0x00 - padding\n"),
                                         trace("Incoming frame id: 9"), trace("Frame id: 9 is not complete"),
                                         entered(receiveSignature, transportLogger, "Data size: 12"),
                                         debug("Packet received: \n"
                                               "0xfeff - sop\n"
                                               "0x000c - length: 12\n"
                                               "0x23 - flags: last message\n"
                                               "0x09 - frame id: 9\n"
                                               "0x01 - packet id: 1\n"
                                               "0x00 - padding\n"),
                                         trace("Incoming frame id: 9"), trace("Frame id: 9 is complete"),
                                         debug(std::string("Frame received: \n") + getStateText)));
}

TEST_F(TransportLayer, InterleavedFramesAssembleIndependently) {
    link->deliver(messagePart(4, 0, bytes("01 02")));
    link->deliver(messagePart(200, 0, bytes("A1")));
    link->deliver(messageEnd(4, 1, bytes("03")));
    EXPECT_THAT(messages, ElementsAre(bytes("01 02 03")));
    link->deliver(messagePart(200, 1, bytes("A2 A3")));
    link->deliver(messageEnd(200, 2, bytes("A4")));
    EXPECT_THAT(messages, ElementsAre(bytes("01 02 03"), bytes("A1 A2 A3 A4")));
}

TEST_F(TransportLayer, PacketsCountInOrderOfArrivalWhateverTheirIds) {
    link->deliver(messagePart(4, 5, bytes("01")));
    link->deliver(messagePart(4, 5, bytes("02")));
    link->deliver(messageEnd(4, 0, bytes("03")));
    EXPECT_THAT(messages, ElementsAre(bytes("01 02 03")));
}

TEST_F(TransportLayer, OtherFrameTypesLeaveNothingBehind) {
    // The same frame id throughout: bytes of a packet that was kept would stand in the message at the end.
    LogCapture log(transportLogger);
    link->deliver(responseFrame(0xA3, 5));
    link->deliver(bytes("FF FE 08 00 21 05 00 00"));                   // reset
    link->deliver(bytes("FF FE 0E 00 22 05 00 00 78 56 34 12 00 00")); // irq
    for (const unsigned code : {0u, 4u, 5u, 6u, 7u}) link->deliver(packetOf(0x20 | code, 5, 0, bytes("EE")));
    EXPECT_THAT(messages, IsEmpty());
    EXPECT_THAT(log.lines(), SizeIs(2 * 8)); // the entry line and the packet, each time
    EXPECT_FALSE(log.contains("Incoming frame id"));

    link->deliver(messageEnd(5, 0, bytes("01 02")));
    EXPECT_THAT(messages, ElementsAre(bytes("01 02")));
}

TEST_F(TransportLayer, BytesThatAreNoPacketAreIgnored) {
    LogCapture log(transportLogger);
    const ByteArray good = messageEnd(5, 0, bytes("01 02"));
    for (size_t size = 0; size < good.size(); ++size) transport->on_data_received(slice(good, 0, size));
    EXPECT_THAT(messages, IsEmpty());
    EXPECT_EQ(log.count("Packet received: \nInvalid packet\n"), good.size());
    EXPECT_FALSE(log.contains("Incoming frame id"));
}

TEST_F(TransportLayer, BytesThatAreNoPacketLeaveTheOpenFrameOfTheirIdAlone) {
    link->deliver(messagePart(5, 0, bytes("01")));
    LogCapture log(transportLogger);
    // All that a message packet needs but what the check asks for: "last", of the open frame, with payload.
    link->deliver(bytes("FF FE 0D 00 23 05 01 00 EE EE 00 00")); // a byte short
    link->deliver(bytes("FF FE 09 00 23 05 01 00 EE EE 00 00")); // a length that no packet has
    link->deliver(bytes("FE FF 0C 00 23 05 01 00 EE EE 00 00")); // no start mark
    EXPECT_FALSE(log.contains("frame id: 5"));
    EXPECT_THAT(messages, IsEmpty());

    link->deliver(messageEnd(5, 1, bytes("02")));
    EXPECT_THAT(messages, ElementsAre(bytes("01 02")));
}

TEST_F(TransportLayer, FrameIdIsFreeAgainOnceComplete) {
    link->deliver(messageEnd(5, 0, bytes("01")));
    link->deliver(messagePart(5, 0, bytes("02")));
    EXPECT_THAT(messages, ElementsAre(bytes("01")));
    link->deliver(messageEnd(5, 1, bytes("03")));
    EXPECT_THAT(messages, ElementsAre(bytes("01"), bytes("02 03")));
}

TEST_F(TransportLayer, FrameCompletesWithoutObservers) {
    FakeLink quietLink;
    HostLinkTransportLayer quiet(&quietLink);
    LogCapture log(transportLogger);
    quietLink.deliver(messageEnd(5, 0, bytes("01")));
    EXPECT_TRUE(log.contains(log4cplus::TRACE_LOG_LEVEL, "Frame id: 5 is complete"));

    quiet.addMessageReceivedObserver([this](ByteArray message) { messages.push_back(std::move(message)); });
    quietLink.deliver(messageEnd(5, 0, bytes("02")));
    EXPECT_THAT(messages, ElementsAre(bytes("02")));
}

TEST_F(TransportLayer, ObserversRunInOrderEachWithItsOwnCopy) {
    std::vector<ByteArray> copies;
    std::vector<int> order;
    FakeLink twoLink;
    HostLinkTransportLayer two(&twoLink);
    two.addMessageReceivedObserver([&](ByteArray message) {
        order.push_back(1);
        message.assign(3, 0xEE);
        copies.push_back(std::move(message));
    });
    two.addMessageReceivedObserver([&](ByteArray message) {
        order.push_back(2);
        copies.push_back(std::move(message));
    });
    twoLink.deliver(messageEnd(5, 0, bytes("01 02")));
    EXPECT_THAT(order, ElementsAre(1, 2));
    EXPECT_THAT(copies, ElementsAre(bytes("EE EE EE"), bytes("01 02")));
}

TEST_F(TransportLayer, ObserverMayFeedAndWriteWhileItRuns) {
    bool fed = false;
    transport->addMessageReceivedObserver([&](const ByteArray&) {
        if (fed) return;
        fed = true;
        link->deliver(messageEnd(6, 0, bytes("02"))); // takes the transport's lock again
        EXPECT_TRUE(transport->writeMessage(bytes("03")));
    });
    link->deliver(messageEnd(5, 0, bytes("01")));
    EXPECT_THAT(messages, ElementsAre(bytes("01"), bytes("02")));
    EXPECT_THAT(link->written(), ElementsAre(messageEnd(0, 0, bytes("03"))));
}

TEST_F(TransportLayer, EmptyObserverRaisesBadFunctionCall) {
    transport->addMessageReceivedObserver(nullptr);
    EXPECT_THROW(link->deliver(messageEnd(5, 0, bytes("01"))), std::bad_function_call);
    EXPECT_THAT(messages, ElementsAre(bytes("01"))); // the one before it has run
    EXPECT_THROW(link->deliver(messageEnd(5, 0, bytes("02"))), std::bad_function_call);
    EXPECT_THAT(messages, ElementsAre(bytes("01"), bytes("02"))); // the first frame is gone, and no lock is held
}

TEST_F(TransportLayer, FramesInProgressGoWithTheTransport) {
    for (unsigned id = 0; id < 256; ++id) link->deliver(messagePart(id, 0, patternBytes(40)));
    transport.reset();
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(TransportLayer, PacketDeliveredAfterDestructionIsDropped) {
    transport.reset();
    EXPECT_STAYS_ALIVE(link->deliver(messageEnd(5, 0, bytes("01"))));
    link->deliver(messageEnd(5, 0, bytes("01")));
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(TransportLayer, NothingIsFormattedWhileLoggingIsOff) {
    // The printer leaves a mark: an unknown frame format gains an entry in the table.
    formatToString.erase(format(6));
    link->deliver(packetOf(0x26, 5, 0, bytes("EE")));
    EXPECT_EQ(formatToString.count(format(6)), 0u);
    const LogCapture log(transportLogger);
    link->deliver(packetOf(0x26, 5, 0, bytes("EE")));
    EXPECT_EQ(formatToString.count(format(6)), 1u);
}

TEST_F(TransportLayer, GoesOnlyWhenEachOfTwoDeliverersHasLeft) {
    struct Deliverer {
        Signal inside;
        Signal released;
        std::thread thread;
    };
    std::array<Deliverer, 2> deliverers;
    transport->addMessageReceivedObserver([&](const ByteArray& message) {
        Deliverer& own = deliverers.at(message[0]);
        own.inside.raise();
        own.released.wait(patience);
    });
    messages.reserve(2);
    for (unsigned i = 0; i < 2; ++i) {
        deliverers.at(i).thread =
            std::thread([this, i] { link->deliver(messageEnd(i, 0, {static_cast<unsigned char>(i)})); });
        ASSERT_TRUE(deliverers.at(i).inside.wait(patience)); // with the first inside an observer, without a lock
    }
    std::promise<pid_t> destroyer;
    std::future<void> going = std::async(std::launch::async, [&] {
        destroyer.set_value(currentThread());
        transport.reset();
    });
    const pid_t thread = destroyer.get_future().get();
    const auto isThrough = [&] { return going.wait_for(std::chrono::seconds(0)) == std::future_status::ready; };
    for (Deliverer& deliverer : deliverers) {
        while (!isThrough() && !sleepsOnFutex(thread)) std::this_thread::yield();
        EXPECT_FALSE(isThrough());
        deliverer.released.raise();
        deliverer.thread.join();
    }
    EXPECT_EQ(going.wait_for(patience), std::future_status::ready);
}

TEST_F(TransportLayer, TwoDeliverersFillFramesAtOnce) {
    std::atomic<int> received{0};
    FakeLink own;
    HostLinkTransportLayer two(&own);
    two.addMessageReceivedObserver([&](const ByteArray& message) {
        EXPECT_EQ(message, ByteArray(3, message.at(0)));
        ++received;
    });
    const auto deliver = [&](unsigned char mark) {
        for (unsigned round = 0; round < 20; ++round) {
            const auto id = [mark](unsigned i) { return 2 * i + mark; };
            for (unsigned i = 0; i < 128; ++i) own.deliver(messagePart(id(i), 0, {mark, mark}));
            for (unsigned i = 0; i < 128; ++i) own.deliver(messageEnd(id(i), 1, {mark}));
        }
    };
    std::thread other(deliver, static_cast<unsigned char>(1));
    deliver(0);
    other.join();
    EXPECT_EQ(received, 2 * 20 * 128);
}

TEST_F(TransportLayer, GoesWhilePacketsArrive) {
    for (int round = 0; round < 100; ++round) {
        FakeLink busy;
        std::atomic<bool> stop{false};
        std::atomic<int> received{0};
        std::optional<HostLinkTransportLayer> going(std::in_place, &busy);
        // What the observer uses dies before the link does: touched afterwards, a sanitizer would tell.
        auto message = std::make_unique<ByteArray>();
        going->addMessageReceivedObserver([&, kept = message.get()](ByteArray bytes) {
            *kept = std::move(bytes);
            ++received;
        });
        std::thread receiver([&] {
            for (unsigned id = 0; !stop; ++id) busy.deliver(messageEnd(id & 0xFF, 0, bytes("01 02 03")));
        });
        while (received == 0) std::this_thread::yield();
        going.reset();
        message.reset();
        stop = true;
        receiver.join();
    }
}

TEST_F(TransportLayer, ThreadsReceiveAndSendAtOnce) {
    std::atomic<int> received{0};
    transport->addMessageReceivedObserver([&](const ByteArray& message) {
        EXPECT_EQ(message, bytes("01 02 03"));
        ++received;
    });
    messages.reserve(1000);
    std::thread receiver([&] {
        for (unsigned i = 0; i < 500; ++i) {
            link->deliver(messagePart(i & 0xFF, 0, bytes("01 02")));
            link->deliver(messageEnd(i & 0xFF, 1, bytes("03")));
        }
    });
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(transport->writeMessage(getState));
    receiver.join();
    EXPECT_EQ(received, 500);
    EXPECT_THAT(link->written(), SizeIs(100));
}

TEST_F(TransportLayer, UnknownFormatsPrintOnSeveralThreads) {
    for (unsigned code = 4; code <= 7; ++code) formatToString.erase(format(code));
    const LogCapture log(transportLogger);
    const auto receive = [](unsigned firstFormat) {
        FakeLink ownLink;
        const HostLinkTransportLayer own(&ownLink);
        for (unsigned i = 0; i < 200; ++i)
            ownLink.deliver(packetOf(0x20 | ((firstFormat + i) % 4 + 4), 5, 0, bytes("EE")));
    };
    std::thread other(receive, 0);
    receive(2);
    other.join();
    EXPECT_EQ(log.count("0x24 - flags: last \n"), 100u);
    EXPECT_EQ(log.count("0x27 - flags: last \n"), 100u);
}

} // namespace
