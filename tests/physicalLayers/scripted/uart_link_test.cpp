// The UART link above a serial library that the test plays: every read and write happens when and as the test says.
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "ScriptedUartLink.h"
#include "support/Bytes.h"
#include "support/Packets.h"
#include "support/ProcessCounts.h"
#include "support/TraceLine.h"

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr auto loopSignature = "void UartPhysicalLayer::readFromUartLoop()";
constexpr auto writeDataSignature = "virtual WriteDataResponse UartPhysicalLayer::writeData(const ByteArray&)";
constexpr auto writePacketSignature = "ByteArray UartPhysicalLayer::writePacket(const ByteArray&)";

const LogLine rule = trace(std::string(70, '='));

// The dump of `incoming`.
constexpr auto incomingDump = "\n 0x0000: ff fe 0f 00 23 07 00 00 02 00 01 15 00 00 00 ";

// --- init ---

TEST_F(ScriptedUartLink, ConstructionOpensNothing) {
    make(propertiesOf(never));
    EXPECT_THAT(port.constructions(), IsEmpty());
    EXPECT_FALSE(link->uartOk());
    EXPECT_THAT(log.lines(), ElementsAre(debug("Max packet size: 64")));
    keep();
}

TEST_F(ScriptedUartLink, InitHandsTheSettingsToThePort) {
    HostLinkPhysicalLayer::Properties properties = propertiesOf(never);
    properties.setString(UartParity, "EvEn-7");
    properties.setInt(UartOptions, 5);
    make(properties);
    ASSERT_TRUE(link->init());
    ASSERT_THAT(port.constructions(), SizeIs(1));
    EXPECT_EQ(port.constructions()[0].baudRate, 115200);
    EXPECT_EQ(port.constructions()[0].options, 5);
    EXPECT_EQ(port.constructions()[0].parity, "even-7");
    EXPECT_TRUE(port.constructions()[0].exclusive);
    EXPECT_EQ(port.inits(), 1);
    EXPECT_TRUE(link->uartOk());
}

TEST_F(ScriptedUartLink, AbsentParityIsNoneAndAbsentOptionsAreZero) {
    start();
    ASSERT_THAT(port.constructions(), SizeIs(1));
    EXPECT_EQ(port.constructions()[0].parity, "none");
    EXPECT_EQ(port.constructions()[0].options, 0);
}

TEST_F(ScriptedUartLink, StartLogsThePathAndTheThread) {
    make(propertiesOf(never));
    ASSERT_TRUE(link->init());
    ASSERT_TRUE(port.waitForIdleReader());
    EXPECT_THAT(log.lines(), testing::UnorderedElementsAre(
                                 debug("Max packet size: 64"),
                                 info("UART hostlink physical communication started on path : /dev/scripted"),
                                 debug("Started read thread"), entered(loopSignature, linkLogger)));
}

TEST_F(ScriptedUartLink, MissingPropertyFailsInit) {
    for (const DeviceProperties missing : {DevicePath, UartBaudRate, UartResponseTimeout}) {
        HostLinkPhysicalLayer::Properties properties;
        if (missing != DevicePath) properties.setString(DevicePath, devicePath);
        if (missing != UartBaudRate) properties.setInt(UartBaudRate, 115200);
        if (missing != UartResponseTimeout) properties.setInt(UartResponseTimeout, never);
        const long threads = threadCount();
        make(properties);
        log.clear();
        EXPECT_FALSE(link->init());
        EXPECT_THAT(log.lines(), ElementsAre(error("Some of UART attributes not defined")));
        EXPECT_FALSE(link->uartOk());
        EXPECT_THAT(port.constructions(), IsEmpty());
        EXPECT_TRUE(waitUntilNoMoreThreadsThan(threads));
        keep();
    }
}

TEST_F(ScriptedUartLink, PortThatDoesNotOpenFailsInit) {
    port.setInitResult(false);
    const long threads = threadCount();
    make(propertiesOf(never));
    log.clear();
    EXPECT_FALSE(link->init());
    EXPECT_THAT(log.lines(), ElementsAre(error("Failed to initialize uart")));
    EXPECT_FALSE(link->uartOk());
    EXPECT_EQ(port.destructions(), 1);
    EXPECT_TRUE(waitUntilNoMoreThreadsThan(threads));
    keep();
}

TEST_F(ScriptedUartLink, InitMayBeRepeatedAfterItFailed) {
    port.setInitResult(false);
    make(propertiesOf(never));
    EXPECT_FALSE(link->init());
    port.setInitResult(true);
    EXPECT_TRUE(link->init());
    ASSERT_TRUE(port.waitForIdleReader());
    supply(incoming);
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming));
}

TEST_F(ScriptedUartLink, PropertyThatIsNoNumberRaisesFromInit) {
    for (const DeviceProperties bad : {UartBaudRate, UartResponseTimeout, UartOptions}) {
        HostLinkPhysicalLayer::Properties properties = propertiesOf(never);
        properties.setString(bad, "fast");
        make(properties);
        const long threads = threadCount();
        EXPECT_THROW(link->init(), std::invalid_argument);
        properties.setString(bad, "99999999999");
        EXPECT_FALSE(link->uartOk());
        EXPECT_TRUE(waitUntilNoMoreThreadsThan(threads));
        keep();
        make(properties);
        EXPECT_THROW(link->init(), std::out_of_range);
        keep();
    }
    EXPECT_THAT(port.constructions(), IsEmpty());
}

// --- A link without a port ---

TEST_F(ScriptedUartLink, ReadWithoutPortSetsTheErrorFlag) {
    make(propertiesOf(never));
    log.clear();
    bool failed = false;
    EXPECT_THAT(link->readPacket(64, &failed), IsEmpty());
    EXPECT_TRUE(failed);
    EXPECT_THAT(log.lines(), ElementsAre(error("Reading packet failed because the uart initialisation failed!")));
    keep();
}

TEST_F(ScriptedUartLink, AcknowledgementWithoutPortFails) {
    make(propertiesOf(never));
    log.clear();
    EXPECT_FALSE(link->sendAckPacket(AcknowledgeType::Ack));
    EXPECT_THAT(log.lines(),
                ElementsAre(error("sending of Ack packet failed because the uart initialisation failed!")));
    EXPECT_EQ(link->nextFrameId(), 0) << "no frame id is spent";
    keep();
}

TEST_F(ScriptedUartLink, PacketWithoutPortGetsNoResponse) {
    make(propertiesOf(never));
    log.clear();
    EXPECT_THAT(link->writePacket(incoming), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(entered(writePacketSignature, linkLogger, "writing packet of size 15"),
                                         error("Writing packet failed because the uart initialisation failed!")));
    log.clear();
    EXPECT_EQ(link->writeData(incoming), NoResponse);
    EXPECT_THAT(log.lines(), ElementsAre(entered(writeDataSignature, linkLogger, "len 15"),
                                         entered(writePacketSignature, linkLogger, "writing packet of size 15"),
                                         error("Writing packet failed because the uart initialisation failed!"),
                                         error("Error uart bus master recv (ack)")));
    keep();
}

TEST_F(ScriptedUartLink, LoopWithoutPortEndsAtOnce) {
    make(propertiesOf(never));
    log.clear();
    link->readFromUartLoop();
    EXPECT_THAT(log.lines(), ElementsAre(entered(loopSignature, linkLogger),
                                         error("Reading packet failed because the uart initialisation failed!"),
                                         info("Stopping reading thread"), left(loopSignature, linkLogger)));
    keep();
}

TEST_F(ScriptedUartLink, EmptyWriteIsAcceptedEvenWithoutPort) {
    make(propertiesOf(never));
    EXPECT_EQ(link->writeData({}), Accepted);
    keep();
}

// --- Reading ---

TEST_F(ScriptedUartLink, MessagePacketIsAcknowledgedAndDelivered) {
    start();
    supply(incoming);
    EXPECT_THAT(port.writes(), ElementsAre(bytes("FF FE 08 00 A3 00 00 00")));
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming));
    EXPECT_THAT(log.lines(),
                ElementsAre(trace("Number of bytes read to UART: 15"), trace("Received full packet"),
                            trace(std::string("Received data from uart:") + incomingDump), rule,
                            trace("Received message, emitting data rec signal"), trace("Send Ack packet: type 2")));
}

TEST_F(ScriptedUartLink, AcknowledgementGoesOutBeforeObserversRun) {
    make(propertiesOf(never));
    std::vector<size_t> writesBefore;
    link->addDataReceivedObserver([&](const ByteArray&) { writesBefore.push_back(port.writes().size()); });
    ASSERT_TRUE(link->init());
    supply(incoming);
    supply(incoming);
    EXPECT_THAT(writesBefore, ElementsAre(1u, 2u));
}

TEST_F(ScriptedUartLink, AcknowledgementsDrawFromTheFrameIdCounter) {
    start();
    EXPECT_EQ(link->nextFrameId(), 0);
    supply(incoming);
    EXPECT_EQ(link->nextFrameId(), 2);
    supply(incoming);
    EXPECT_THAT(port.writes(), ElementsAre(responseFrame(0xA3, 1), responseFrame(0xA3, 3)));
    EXPECT_EQ(link->nextFrameId(), 4);
}

TEST_F(ScriptedUartLink, The256thFrameIdIsZeroAgain) {
    start();
    for (int id = 0; id < 256; ++id) EXPECT_EQ(link->nextFrameId(), id);
    EXPECT_EQ(link->nextFrameId(), 0);
    for (int id = 1; id < 255; ++id) link->nextFrameId();
    supply(incoming + incoming);
    EXPECT_THAT(port.writes(), ElementsAre(responseFrame(0xA3, 255), responseFrame(0xA3, 0)));
}

TEST_F(ScriptedUartLink, PacketNormallyCostsTwoReads) {
    start();
    const ByteArray big = messageEnd(1, 0, patternBytes(190));
    supply(big);
    EXPECT_THAT(port.readSizes(), ElementsAre(64u, 136u, 64u));
    EXPECT_THAT(deliveredPackets(), ElementsAre(big));
}

TEST_F(ScriptedUartLink, TwoPacketsOfOneReadAreDeliveredWithoutAnother) {
    start();
    supply(incoming + incoming);
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming, incoming));
    EXPECT_THAT(port.readSizes(), ElementsAre(64u, 64u));
}

TEST_F(ScriptedUartLink, ReadWithoutBytesIsRepeatedWithTheSameCount) {
    start();
    supply({});
    supply({});
    supply(slice(incoming, 0, 10));
    supply({});
    supply(slice(incoming, 10, 12));
    supply({});
    supply(slice(incoming, 12, 15));
    EXPECT_THAT(port.readSizes(), ElementsAre(64u, 64u, 64u, 5u, 5u, 3u, 3u, 64u));
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming));
    EXPECT_EQ(log.count("Number of bytes read to UART: 0"), 4u);
}

TEST_F(ScriptedUartLink, StreamCutAtEveryByteDeliversTheSame) {
    start();
    const ByteArray pair = incoming + messagePart(3, 1, patternBytes(20));
    std::vector<ByteArray> expected;
    for (size_t cut = 1; cut < pair.size(); ++cut) {
        supply(slice(pair, 0, cut));
        supply(slice(pair, cut, pair.size()));
        expected.push_back(incoming);
        expected.push_back(slice(pair, 15, pair.size()));
    }
    for (const unsigned char byte : pair) supply({byte});
    expected.push_back(incoming);
    expected.push_back(slice(pair, 15, pair.size()));
    EXPECT_EQ(deliveredPackets(), expected);
    EXPECT_THAT(errorsOf(log), IsEmpty());
}

TEST_F(ScriptedUartLink, GarbageBeforeAPacketLeavesOneLine) {
    start();
    supply(bytes("00 FE FF 11") + incoming);
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming));
    EXPECT_THAT(log.lines(),
                ElementsAre(trace("Number of bytes read to UART: 19"),
                            warning("Removing 4bytes from start after SOP found"), trace("Received full packet"),
                            trace(std::string("Received data from uart:") + incomingDump), rule,
                            trace("Received message, emitting data rec signal"), trace("Send Ack packet: type 2")));
}

TEST_F(ScriptedUartLink, BufferWithoutStartIsDroppedWhole) {
    start();
    supply(ByteArray(64, 0x55));
    EXPECT_THAT(log.lines(),
                ElementsAre(trace("Number of bytes read to UART: 64"), warning("Received data without packet start")));
    supply(incoming);
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming));
    EXPECT_FALSE(log.contains("Removing"));
    EXPECT_THAT(port.writes(), ElementsAre(responseFrame(0xA3, 0)));
}

TEST_F(ScriptedUartLink, InvalidPacketIsRefusedAndNotDelivered) {
    start();
    const ByteArray bad = bytes("FF FE 0A 00 23 07 00 00 00 00"); // declares ten bytes: no payload
    supply(bad);
    EXPECT_THAT(port.writes(), ElementsAre(bytes("FF FE 08 00 63 00 00 00")));
    EXPECT_THAT(deliveredPackets(), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(trace("Number of bytes read to UART: 10"), warning("Error  10 reading packet"),
                                         trace("Received full packet"),
                                         trace("Received data from uart:\n 0x0000: ff fe 0a 00 23 07 00 00 00 00 "),
                                         rule, error("Invalid message received"), trace("Send Ack packet: type 1")));
    supply(incoming);
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming));
    EXPECT_FALSE(log.contains("Removing"));
}

TEST_F(ScriptedUartLink, WhatOnlyTheLinkSeesIsCounted) {
    LinkCounts counts;
    make(propertiesOf(never));
    auto* counting = dynamic_cast<CountingLink*>(static_cast<HostLinkPhysicalLayer*>(link.get()));
    ASSERT_NE(counting, nullptr);
    counting->countInto(counts);
    ASSERT_TRUE(link->init());
    supply(bytes("00 FE FF 11") + incoming);
    supply(ByteArray(64, 0x55));
    supply(bytes("FF FE 0A 00 23 07 00 00 00 00")); // declares ten bytes: no payload
    supply(bytes("FF FE 08 00 21 07 00 00"));       // a reset
    EXPECT_EQ(counts.of(LinkCounter::GarbageBytes), 68U);
    EXPECT_EQ(counts.of(LinkCounter::BadPackets), 1U);
    EXPECT_EQ(counts.of(LinkCounter::OtherPackets), 1U);
    EXPECT_EQ(counts.of(LinkCounter::Edges), 0U);
    link.reset(); // before the counts
}

TEST(LinkCounts, IgnoreWhatIsNewerThanThey) {
    LinkCounts counts;
    const auto newer = static_cast<LinkCounter>(LinkCounts::size);
    counts.add(newer);
    EXPECT_EQ(counts.of(newer), 0U);
}

TEST_F(ScriptedUartLink, LengthZeroGetsOneNackAndTheNextPacketComesThrough) {
    start();
    supply(bytes("FF FE 00 00 23 07 00 00"));
    EXPECT_THAT(port.writes(), ElementsAre(responseFrame(0x63, 0)));
    EXPECT_THAT(log.lines(),
                ElementsAre(trace("Number of bytes read to UART: 8"), warning("Error  10 reading packet"),
                            trace("Received full packet"), trace("Received data from uart:\n 0x0000: ff fe "), rule,
                            error("Invalid message received"), trace("Send Ack packet: type 1")));
    supply(incoming);
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming));
    EXPECT_THAT(port.writes(), ElementsAre(responseFrame(0x63, 0), responseFrame(0xA3, 1)));
}

TEST_F(ScriptedUartLink, EveryImpossibleLengthGetsOneNackAndTheNextPacketComesThrough) {
    start();
    std::vector<ByteArray> expected;
    for (unsigned char length = 0; length <= 10; ++length) {
        if (length == 8) continue; // a response frame
        supply({0xFF, 0xFE, length, 0, 0x23, 7, 0, 0});
        EXPECT_THAT(port.writes(), SizeIs(2 * expected.size() + 1)) << int(length);
        supply(incoming);
        expected.push_back(incoming);
        EXPECT_EQ(deliveredPackets(), expected) << int(length);
        EXPECT_THAT(port.writes(), SizeIs(2 * expected.size())) << int(length);
    }
}

TEST_F(ScriptedUartLink, UnsupportedFramesAreRefused) {
    start();
    const std::vector<std::pair<int, ByteArray>> frames = {
        {1, bytes("FF FE 08 00 21 07 00 00")},                   // reset
        {2, bytes("FF FE 0E 00 22 07 00 00 01 00 00 00 00 00")}, // irq
        {4, responseFrame(0x24, 7)},
        {5, packetOf(0x25, 7, 0, bytes("01"))},
        {6, packetOf(0x26, 7, 0, bytes("01"))},
        {7, packetOf(0xE7, 7, 0, bytes("01"))}};
    std::vector<ByteArray> answers;
    for (const auto& [type, frame] : frames) {
        log.clear();
        supply(frame);
        EXPECT_THAT(errorsOf(log), ElementsAre("Unsupported incoming message: " + std::to_string(type)));
        EXPECT_TRUE(log.contains(log4cplus::TRACE_LOG_LEVEL, "Send Ack packet: type 1"));
        answers.push_back(responseFrame(0x63, static_cast<unsigned>(answers.size())));
        EXPECT_EQ(port.writes(), answers);
    }
    EXPECT_THAT(deliveredPackets(), IsEmpty());
}

TEST_F(ScriptedUartLink, ResponseFrameIsNeitherAnsweredNorDelivered) {
    start();
    supply(responseFrame(0xA3, 7));
    EXPECT_THAT(port.writes(), IsEmpty());
    EXPECT_THAT(deliveredPackets(), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(trace("Number of bytes read to UART: 8"), trace("Received full packet"),
                                         trace("Received data from uart:\n 0x0000: ff fe 08 00 a3 07 00 00 "), rule));
}

TEST_F(ScriptedUartLink, FormatZeroWithPayloadReadsAsAResponse) {
    start();
    answerWith(packetOf(0x80, 7, 0, bytes("01 02")));
    EXPECT_EQ(link->writeData(incoming), Accepted);
    EXPECT_THAT(port.writes(), ElementsAre(incoming));
}

TEST_F(ScriptedUartLink, AcknowledgementThatCannotBeWrittenStillDelivers) {
    start();
    port.failWrites(true);
    supply(incoming);
    EXPECT_THAT(errorsOf(log), ElementsAre("uart write failed"));
    EXPECT_FALSE(log.contains("Send Ack packet"));
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming));
}

TEST_F(ScriptedUartLink, EachAcknowledgementTypeHasItsFrame) {
    start();
    EXPECT_TRUE(link->sendAckPacket(AcknowledgeType::None));
    EXPECT_TRUE(link->sendAckPacket(AcknowledgeType::Nack));
    EXPECT_TRUE(link->sendAckPacket(AcknowledgeType::Ack));
    EXPECT_TRUE(link->sendAckPacket(AcknowledgeType::AckNack));
    EXPECT_THAT(port.writes(), ElementsAre(responseFrame(0x23, 0), responseFrame(0x63, 1), responseFrame(0xA3, 2),
                                           responseFrame(0xE3, 3)));
    EXPECT_THAT(log.lines(), ElementsAre(trace("Send Ack packet: type 0"), trace("Send Ack packet: type 1"),
                                         trace("Send Ack packet: type 2"), trace("Send Ack packet: type 3")));
    port.failWrites(true);
    EXPECT_FALSE(link->sendAckPacket(AcknowledgeType::Ack));
    EXPECT_THAT(errorsOf(log), ElementsAre("uart write failed"));
}

TEST_F(ScriptedUartLink, ReadErrorStopsTheReader) {
    start();
    port.failRead();
    ASSERT_TRUE(log.waitFor("Leave "));
    EXPECT_THAT(log.lines(), ElementsAre(info("Stopping reading thread"), left(loopSignature, linkLogger)));
    EXPECT_TRUE(link->uartOk()) << "the port stays until the link goes";
    EXPECT_EQ(port.destructions(), 0);
}

TEST_F(ScriptedUartLink, ReadErrorEndsTheLoopEvenInsideAPacket) {
    start();
    supply(slice(incoming, 0, 10));
    port.failRead();
    ASSERT_TRUE(log.waitFor("Stopping reading thread"));
    EXPECT_THAT(deliveredPackets(), IsEmpty());
    EXPECT_THAT(port.readSizes(), ElementsAre(64u, 5u));
}

TEST_F(ScriptedUartLink, ShutdownLeavesTheReaderRunning) {
    start();
    link->shutdown();
    link->shutdown();
    EXPECT_THAT(log.lines(), IsEmpty());
    supply(incoming);
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming));
    answerWith(responseFrame(0xA3, 9));
    EXPECT_EQ(link->writeData(incoming), Accepted);
    link.reset();
    EXPECT_TRUE(log.contains(log4cplus::INFO_LOG_LEVEL, "Stopping reading thread"));
    EXPECT_EQ(port.destructions(), 1);
}

// --- Writing ---

struct ResponseCase {
    unsigned flags;
    WriteDataResponse result;
    const char* received;
};

void PrintTo(const ResponseCase& c, std::ostream* out) {
    *out << c.received;
}

class ScriptedUartResponse : public ScriptedUartLink, public testing::WithParamInterface<ResponseCase> {};

TEST_P(ScriptedUartResponse, DecidesTheResult) {
    start();
    answerWith(responseFrame(GetParam().flags, 0x10));
    EXPECT_EQ(link->writeData(incoming), GetParam().result);
    EXPECT_THAT(port.writes(), ElementsAre(incoming));
    ASSERT_TRUE(port.waitForIdleReader());
    char dump[64];
    std::snprintf(dump, sizeof dump, "\n 0x0000: ff fe 08 00 %02x 10 00 00 ", GetParam().flags);
    EXPECT_THAT(log.lines(),
                ElementsAre(entered(writeDataSignature, linkLogger, "len 15"),
                            entered(writePacketSignature, linkLogger, "writing packet of size 15"),
                            trace(std::string("Writing data to uart:") + incomingDump), rule,
                            trace("Number of bytes read to UART: 8"), trace("Received full packet"),
                            trace(std::string("Received data from uart:") + dump), rule, trace(GetParam().received)));
}

INSTANTIATE_TEST_SUITE_P(Each, ScriptedUartResponse,
                         testing::Values(ResponseCase{0xA3, Accepted, "Received: 2"},
                                         ResponseCase{0x63, Rejected, "Received: 1"},
                                         ResponseCase{0xE3, Error, "Received: 3"},
                                         ResponseCase{0x23, NoResponse, "Received: 0"}));

TEST_F(ScriptedUartLink, EmptyWriteIsAcceptedAndWritesNothing) {
    start();
    EXPECT_EQ(link->writeData({}), Accepted);
    EXPECT_THAT(port.writes(), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(entered(writeDataSignature, linkLogger, "len 0")));
}

TEST_F(ScriptedUartLink, WritePacketReturnsTheResponse) {
    start();
    answerWith(responseFrame(0x63, 4));
    EXPECT_EQ(link->writePacket(incoming), responseFrame(0x63, 4));
}

TEST_F(ScriptedUartLink, ResponseThatDoesNotComeIsWaitedForAsLongAsConfigured) {
    start(shortly);
    const auto begin = steady_clock::now();
    EXPECT_EQ(link->writeData(incoming), NoResponse);
    EXPECT_GE(steady_clock::now() - begin, milliseconds(shortly));
    EXPECT_THAT(log.lines(), ElementsAre(entered(writeDataSignature, linkLogger, "len 15"),
                                         entered(writePacketSignature, linkLogger, "writing packet of size 15"),
                                         trace(std::string("Writing data to uart:") + incomingDump), rule,
                                         error("Empty response from host"), error("Error uart bus master recv (ack)")));
}

TEST_F(ScriptedUartLink, TimeoutOfZeroOrLessWaitsForNothing) {
    for (const int timeout : {0, -1, -100000}) {
        start(timeout);
        EXPECT_EQ(link->writeData(incoming), NoResponse);
        EXPECT_THAT(errorsOf(log), ElementsAre("Empty response from host", "Error uart bus master recv (ack)"));
        link.reset();
    }
}

TEST_F(ScriptedUartLink, MessageDuringTheWaitIsServedAndDoesNotEndIt) {
    start();
    port.onWrite([this](const ByteArray& packet) {
        if (packet.size() > 8) port.supply(incoming + incoming + responseFrame(0xA3, 1));
    });
    EXPECT_EQ(link->writeData(incoming), Accepted);
    EXPECT_THAT(port.writes(), ElementsAre(incoming, responseFrame(0xA3, 0), responseFrame(0xA3, 1)));
    EXPECT_THAT(deliveredPackets(), SizeIs(2));
}

TEST_F(ScriptedUartLink, StaleResponseAnswersAPacketThatGetsNone) {
    start(shortly);
    supply(responseFrame(0x63, 1));
    const auto begin = steady_clock::now();
    EXPECT_EQ(link->writeData(incoming), Rejected);
    EXPECT_GE(steady_clock::now() - begin, milliseconds(shortly)) << "a fresh one may still come";
    EXPECT_THAT(errorsOf(log), IsEmpty());
    EXPECT_EQ(link->writeData(incoming), NoResponse) << "it answers once";
}

TEST_F(ScriptedUartLink, FreshResponseReplacesAStaleOne) {
    start();
    supply(responseFrame(0x63, 1));
    supply(responseFrame(0xE3, 2));
    answerWith(responseFrame(0xA3, 3));
    EXPECT_EQ(link->writeData(incoming), Accepted);
}

TEST_F(ScriptedUartLink, ResponseThatDoesNotVerifyIsNone) {
    // The reader hands on what it found valid; here it is told that a packet with an impossible length is.
    start(shortly);
    link->handleIncomingPacket(bytes("FF FE 09 00 20 00 00 00 00"), true);
    log.clear();
    EXPECT_EQ(link->writeData(incoming), NoResponse);
    EXPECT_THAT(errorsOf(log), ElementsAre("Expected ack, got something else: 0 valid: 0"));
}

TEST_F(ScriptedUartLink, WriteThatFailsGetsNoResponse) {
    start();
    port.failWrites(true);
    EXPECT_EQ(link->writeData(incoming), NoResponse);
    EXPECT_THAT(log.lines(), ElementsAre(entered(writeDataSignature, linkLogger, "len 15"),
                                         entered(writePacketSignature, linkLogger, "writing packet of size 15"),
                                         trace(std::string("Writing data to uart:") + incomingDump), rule,
                                         error("Uart write failed"), error("Error uart bus master recv (ack)")));
    port.failWrites(false);
    answerWith(responseFrame(0xA3, 3));
    EXPECT_EQ(link->writeData(incoming), Accepted);
}

TEST_F(ScriptedUartLink, ReaderThatStopsWakesAWaitingWriter) {
    start();
    std::future<WriteDataResponse> result =
        std::async(std::launch::async, [this] { return link->writeData(incoming); });
    ASSERT_TRUE(port.waitForWrites(1));
    port.failRead();
    ASSERT_EQ(result.wait_for(seconds(20)), std::future_status::ready) << "far sooner than the response timeout";
    EXPECT_EQ(result.get(), NoResponse);
    EXPECT_THAT(errorsOf(log), ElementsAre("Empty response from host", "Error uart bus master recv (ack)"));
}

TEST_F(ScriptedUartLink, ReaderThatStopsTakesAStaleResponseWithIt) {
    start(shortly);
    supply(responseFrame(0xA3, 1));
    port.failRead();
    ASSERT_TRUE(log.waitFor("Leave "));
    EXPECT_EQ(link->writeData(incoming), NoResponse);
}

TEST_F(ScriptedUartLink, NothingIsNamedWhileTracingIsOff) {
    start();
    log4cplus::Logger::getInstance(linkLogger).setLogLevel(log4cplus::DEBUG_LOG_LEVEL);
    const int before = scopedFunctionCalls();
    answerWith(responseFrame(0xA3, 3));
    EXPECT_EQ(link->writeData(incoming), Accepted);
    supply(incoming);
    link.reset();
    EXPECT_EQ(scopedFunctionCalls(), before);
    EXPECT_THAT(log.lines(), ElementsAre(info("Stopping reading thread")));
}

// --- With the transport above ---

TEST_F(ScriptedUartLink, TransportSendsAMessagePacketByPacket) {
    make(propertiesOf(never));
    HostLinkTransportLayer transport(link.get());
    transport.initTransportLayer();
    const std::vector<unsigned> flags = {0xA3, 0x63, 0x63, 0xA3, 0xA3};
    size_t next = 0;
    port.onWrite([&](const ByteArray&) { port.supply(responseFrame(flags.at(next++), 0)); });
    const ByteArray message = patternBytes(120);
    EXPECT_TRUE(transport.writeMessage(message));
    const ByteArray second = messagePart(0, 1, slice(message, 54, 108));
    EXPECT_THAT(port.writes(), ElementsAre(messagePart(0, 0, slice(message, 0, 54)), second, second, second,
                                           messageEnd(0, 2, slice(message, 108, 120))));
}

} // namespace
