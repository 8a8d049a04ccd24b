// The bus links above a serial library that the test plays: each transfer answers as the test says, byte by byte. No
// line and no thread of the link: the test makes the reader's calls itself.
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeinfo>
#include <utility>
#include <vector>

#include <sys/types.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/physicalLayers/I2cPhysicalLayer.h>
#include <hostlink/physicalLayers/SpiPhysicalLayer.h>

#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/MustEnd.h"
#include "support/Packets.h"
#include "support/ProcessWatch.h"
#include "support/TraceLine.h"
#include "support/scripted/ScriptedBus.h"

using std::chrono::microseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr auto linkLogger = "HostLinkPhysicalLayer";
constexpr auto devicePath = "/dev/scripted";

constexpr auto writeDataSignature = "virtual WriteDataResponse SyncSerialLayer::writeData(const ByteArray&)";
constexpr auto writeReadSignature = "ByteArray SyncSerialLayer::writeReadPacket(const ByteArray&, int)";
constexpr auto readSignature = "void SyncSerialLayer::readFromSlave(int)";

/// A message packet of 15 bytes, from either side.
const ByteArray message = bytes("FF FE 0F 00 23 07 00 00 02 00 01 15 00 00 00");
const std::string messageText = hex(message);
const ByteArray ack = responseFrame(0xA3, 7);
const ByteArray nack = responseFrame(0x63, 7);
const ByteArray neither = responseFrame(0x23, 7);
const ByteArray both = responseFrame(0xE3, 7);
const ByteArray idle8(8, 0xFF);

const LogLine rule = trace(std::string(70, '='));

/// The IRQ frame with that frame id that asks for that many bytes, fewer than 65536, as text.
std::string irqText(unsigned frameId, unsigned size) {
    const auto byte = [](unsigned value) { return static_cast<unsigned char>(value & 0xFF); };
    return hex({0xFF, 0xFE, 14, 0, 0x22, byte(frameId), 0, 0, byte(size), byte(size >> 8), 0, 0, 0, 0});
}

/// What the host answers to announce a size.
ByteArray announcement(unsigned size) {
    return bytes(irqText(0, size));
}

std::string asked(unsigned frameId, unsigned size) {
    return "writeRead " + irqText(frameId, size) + ", " + std::to_string(size);
}

std::string acked(unsigned frameId) {
    return "write " + hex(responseFrame(0xA3, frameId));
}

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

std::string nacked(unsigned frameId) {
    return "write " + hex(responseFrame(0x63, frameId));
}

HostLinkPhysicalLayer::Properties baseProperties() {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, devicePath);
    properties.setInt(GpioNumber, 17);
    return properties;
}

HostLinkPhysicalLayer::Properties allProperties() {
    HostLinkPhysicalLayer::Properties properties = baseProperties();
    properties.setInt(I2cSlaveAddress, 66);
    properties.setInt(SpiSpeed, 1000000);
    return properties;
}

enum class Wire { I2c, Spi };
std::ostream& operator<<(std::ostream& out, Wire wire) {
    return out << (wire == Wire::I2c ? "I2c" : "Spi");
}

std::unique_ptr<SyncSerialLayer> linkOver(Wire wire, const HostLinkPhysicalLayer::Properties& properties) {
    if (wire == Wire::I2c) return std::make_unique<I2cPhysicalLayer>(properties);
    return std::make_unique<SpiPhysicalLayer>(properties);
}

class ScriptedBusTest : public testing::Test {
protected:
    std::vector<std::string> errors() const { return log.texts(log4cplus::ERROR_LOG_LEVEL); }

    ScriptedBus bus{devicePath};
    LogCapture log{linkLogger};
};

// --- What the constructors do ---

using BusLinkMaking = ScriptedBusTest;

TEST_F(BusLinkMaking, I2cLinkOpensItsDeviceWithTheAddress) {
    const I2cPhysicalLayer link(allProperties());
    EXPECT_THAT(bus.constructions(), ElementsAre("I2c /dev/scripted 66"));
    EXPECT_THAT(bus.texts(), ElementsAre("open"));
    EXPECT_THAT(log.lines(), ElementsAre(debug("Max packet size: 64"), debug("Serial device path: /dev/scripted"),
                                         debug("gpio: 17"), debug("slave address: 66")));
}

TEST_F(BusLinkMaking, SpiLinkOpensItsDeviceWithTheSpeedAndZero) {
    const SpiPhysicalLayer link(allProperties());
    EXPECT_THAT(bus.constructions(), ElementsAre("Spi /dev/scripted 1000000 0"));
    EXPECT_THAT(bus.texts(), ElementsAre("open"));
    EXPECT_THAT(log.lines(), ElementsAre(debug("Max packet size: 64"), debug("Serial device path: /dev/scripted"),
                                         debug("gpio: 17")));
}

TEST_F(BusLinkMaking, ThirdArgumentOfTheSpiBusIsAlwaysZero) {
    for (const int speed : {0, 1, -5, 2147483647}) {
        HostLinkPhysicalLayer::Properties properties = baseProperties();
        properties.setInt(SpiSpeed, speed);
        const SpiPhysicalLayer link(properties);
        EXPECT_EQ(bus.constructions().back(), "Spi /dev/scripted " + std::to_string(speed) + " 0");
    }
}

TEST_F(BusLinkMaking, I2cAddressIsHandedOnUnchanged) {
    for (const int address : {0, 3, 0x77, 0x78, -1, 1000}) {
        HostLinkPhysicalLayer::Properties properties = baseProperties();
        properties.setInt(I2cSlaveAddress, address);
        const I2cPhysicalLayer link(properties);
        EXPECT_EQ(bus.constructions().back(), "I2c /dev/scripted " + std::to_string(address));
    }
}

TEST_F(BusLinkMaking, FactoryMakesEachByItsName) {
    const std::unique_ptr<HostLinkPhysicalLayer> i2c(HostLinkPhysicalLayer::create("i2c", allProperties()));
    const std::unique_ptr<HostLinkPhysicalLayer> spi(HostLinkPhysicalLayer::create("spi", allProperties()));
    EXPECT_NE(dynamic_cast<I2cPhysicalLayer*>(i2c.get()), nullptr);
    EXPECT_NE(dynamic_cast<SpiPhysicalLayer*>(spi.get()), nullptr);
    EXPECT_THAT(bus.constructions(), SizeIs(2));
}

TEST_F(BusLinkMaking, PropertyTextThatIsNoNumberIsThrownOut) {
    HostLinkPhysicalLayer::Properties properties = allProperties();
    properties.setString(I2cSlaveAddress, "x42");
    properties.setString(SpiSpeed, "99999999999");
    EXPECT_THROW(I2cPhysicalLayer link(properties), std::invalid_argument);
    EXPECT_THROW(SpiPhysicalLayer link(properties), std::out_of_range);
    properties.setString(GpioNumber, "gpio17");
    EXPECT_THROW(I2cPhysicalLayer link(properties), std::invalid_argument);
    EXPECT_THAT(bus.constructions(), IsEmpty());
}

// --- Two transactions ---

class TwoTransactionsOnI2c : public ScriptedBusTest {
protected:
    void make(int options) {
        HostLinkPhysicalLayer::Properties properties = allProperties();
        properties.setInt(I2cOptions, options);
        link = std::make_unique<I2cPhysicalLayer>(properties);
    }
    std::unique_ptr<I2cPhysicalLayer> link;
};

TEST_F(TwoTransactionsOnI2c, WriteAndReadEachHaveTheirOwn) {
    make(1);
    ASSERT_TRUE(link->serialOk());
    bus.answer(idle8);
    bus.answer(ack);
    EXPECT_EQ(link->writeData(message), Accepted);
    EXPECT_THAT(bus.texts(), ElementsAre("open", "write " + messageText, "read 8", "read 8"));
    bus.forget();
    EXPECT_TRUE(link->sendAckPacket(AcknowledgeType::Ack));
    EXPECT_THAT(bus.texts(), ElementsAre(acked(0)));
}

TEST_F(TwoTransactionsOnI2c, WriteThatFailsIsNotFollowedByItsRead) {
    make(1);
    bus.failWrites(true);
    bus.forget();
    EXPECT_EQ(link->writeData(message), NoResponse);
    EXPECT_THAT(bus.texts(), ElementsAre("write " + messageText, "read 8", "read 8", "read 8")) << "the three re-reads";
}

TEST_F(TwoTransactionsOnI2c, NoneOfThemIsOneTransaction) {
    make(0);
    bus.answer(ack);
    EXPECT_EQ(link->writeData(message), Accepted);
    EXPECT_THAT(bus.texts(), ElementsAre("open", "writeRead " + messageText + ", 8"));
}

TEST_F(TwoTransactionsOnI2c, BusThatDoesNotOpenIsGone) {
    bus.setOpenResult(false);
    make(1);
    EXPECT_FALSE(link->serialOk());
    EXPECT_THAT(bus.texts(), ElementsAre("open", "destroyed"));
}

TEST_F(TwoTransactionsOnI2c, UnknownOptionsAreToldAndOpenNothing) {
    for (const int options : {2, 3, -1}) {
        log.clear();
        make(options);
        EXPECT_FALSE(link->serialOk());
        EXPECT_THAT(errors(), ElementsAre("I2cOptions " + std::to_string(options) +
                                          " contain an unknown bit; use 1 (two transactions) or 0"));
    }
    EXPECT_EQ(bus.texts(), std::vector<std::string>(3, "destroyed"));
}

// --- Over either wire ---

class BusLink : public ScriptedBusTest, public testing::WithParamInterface<Wire> {
protected:
    void SetUp() override {
        make();
        bus.forget();
        log.clear();
    }

    void make(const HostLinkPhysicalLayer::Properties& properties = allProperties()) {
        link.reset();
        link = linkOver(GetParam(), properties);
        link->addDataReceivedObserver([this](ByteArray packet) { delivered.push_back(std::move(packet)); });
    }

    std::string wireName() const { return GetParam() == Wire::I2c ? "I2C" : "SPI"; }
    DeviceProperties ownKey() const { return GetParam() == Wire::I2c ? I2cSlaveAddress : SpiSpeed; }

    /// Time between the beginnings of calls number `from` and `from + 1`.
    microseconds pauseAfter(size_t from) const {
        const std::vector<ScriptedBus::Call> calls = bus.calls();
        return std::chrono::duration_cast<microseconds>(calls.at(from + 1).at - calls.at(from).at);
    }

    std::vector<ByteArray> delivered; // on the thread that calls readFromSlave
    std::unique_ptr<SyncSerialLayer> link;
};

INSTANTIATE_TEST_SUITE_P(Wires, BusLink, testing::Values(Wire::I2c, Wire::Spi),
                         [](const auto& wire) { return wire.param == Wire::I2c ? "I2c" : "Spi"; });

TEST_P(BusLink, MissingBaseAttributesAreReportedTwice) {
    for (const DeviceProperties missing : {DevicePath, GpioNumber}) {
        HostLinkPhysicalLayer::Properties properties;
        if (missing != DevicePath) properties.setString(DevicePath, devicePath);
        if (missing != GpioNumber) properties.setInt(GpioNumber, 17);
        properties.setInt(ownKey(), 66);
        log.clear();
        make(properties);
        EXPECT_THAT(log.lines(),
                    ElementsAre(debug("Max packet size: 64"), error("Some of Serial device attributes not defined"),
                                error("Some of " + wireName() + " attributes not defined")));
        EXPECT_FALSE(link->serialOk());
    }
    EXPECT_THAT(bus.constructions(), SizeIs(1)); // the one of SetUp
}

TEST_P(BusLink, MissingOwnAttributeIsReportedOnce) {
    make(baseProperties());
    EXPECT_THAT(errors(), ElementsAre("Some of " + wireName() + " attributes not defined"));
    EXPECT_FALSE(link->serialOk());
    EXPECT_THAT(bus.constructions(), SizeIs(1));
}

TEST_P(BusLink, EmptyPathOrNegativeLineMakesNoBus) {
    HostLinkPhysicalLayer::Properties properties = allProperties();
    properties.setString(DevicePath, "");
    make(properties);
    EXPECT_FALSE(link->serialOk());
    properties = allProperties();
    properties.setInt(GpioNumber, -1);
    make(properties);
    EXPECT_FALSE(link->serialOk());
    EXPECT_THAT(errors(), ElementsAre("Some of " + wireName() + " attributes not defined",
                                      "Some of " + wireName() + " attributes not defined"));
}

TEST_P(BusLink, LineNumberZeroIsALine) {
    HostLinkPhysicalLayer::Properties properties = allProperties();
    properties.setInt(GpioNumber, 0);
    make(properties);
    EXPECT_TRUE(link->serialOk());
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(BusLink, BusThatDoesNotOpenIsDestroyedSilently) {
    bus.setOpenResult(false);
    make();
    EXPECT_THAT(bus.texts(), ElementsAre("open", "destroyed"));
    EXPECT_FALSE(link->serialOk());
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(BusLink, WriteWithoutABusGetsNoResponse) {
    bus.setOpenResult(false);
    make();
    log.clear();
    EXPECT_EQ(link->writeData(message), NoResponse);
    EXPECT_THAT(errors(), ElementsAre("Reading packet failed because the Serial device initialisation failed!",
                                      "Error Serial device bus master recv (ack)"));
}

TEST_P(BusLink, ExchangeWithoutABusIsRefusedInVain) {
    bus.setOpenResult(false);
    make();
    log.clear();
    link->readFromSlave(64);
    EXPECT_THAT(errors(), ElementsAre("Reading packet failed because the Serial device initialisation failed!",
                                      "Invalid message received",
                                      "sending of Ack packet failed because the Serial device initialisation failed!"));
    EXPECT_THAT(delivered, IsEmpty());
}

TEST_P(BusLink, BusOutlivesTheLink) {
    link.reset();
    EXPECT_THAT(bus.texts(), IsEmpty());
}

// --- writeData ---

TEST_P(BusLink, EmptyPacketIsAcceptedWithoutTouchingTheBus) {
    EXPECT_EQ(link->writeData({}), Accepted);
    EXPECT_THAT(bus.texts(), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre(entered(writeDataSignature, linkLogger, "len 0"),
                                         left(writeDataSignature, linkLogger, "len 0")));
}

TEST_P(BusLink, PacketAndResponseAreOneTransaction) {
    bus.answer(ack);
    EXPECT_EQ(link->writeData(message), Accepted);
    EXPECT_THAT(bus.texts(), ElementsAre("writeRead " + messageText + ", 8"));
}

TEST_P(BusLink, WriteLeavesItsTraceInOrder) {
    bus.answer(ack);
    link->writeData(message);
    EXPECT_THAT(log.lines(),
                ElementsAre(entered(writeDataSignature, linkLogger, "len 15"), trace("Bus send length: 15"),
                            trace("Writing data: \n 0x0000: ff fe 0f 00 23 07 00 00 02 00 01 15 00 00 00 "), rule,
                            entered(writeReadSignature, linkLogger, "read packet size 8"), debug("Received packet"),
                            left(writeReadSignature, linkLogger, "read packet size 8"),
                            trace("Received response: \n 0x0000: ff fe 08 00 a3 07 00 00 "), rule, trace("Received: 2"),
                            left(writeDataSignature, linkLogger, "len 15")));
}

TEST_P(BusLink, ResponseDecidesTheResult) {
    const std::vector<std::pair<ByteArray, WriteDataResponse>> rows{
        {ack, Accepted}, {nack, Rejected}, {both, Error}, {neither, NoResponse}};
    for (const auto& [response, result] : rows) {
        bus.answer(response);
        EXPECT_EQ(link->writeData(message), result) << hex(response);
    }
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(BusLink, NackedWriteIsNotRepeatedHere) {
    bus.answer(nack);
    link->writeData(message);
    EXPECT_THAT(bus.texts(), SizeIs(1));
}

TEST_P(BusLink, AnswerThatIsNoResponseFrameIsReportedWithItsType) {
    const std::vector<std::pair<ByteArray, std::string>> rows{
        {message, "3 valid: 1"},
        {announcement(64), "2 valid: 1"},
        {bytes("FF FE 08 00 21 07 00 00"), "1 valid: 1"},
        {bytes("FF FE 08 00 A3 07 00"), "0 valid: 0"}, // cut off
        {bytes("FF FE 09 00 A3 07 00 00"), "0 valid: 0"},
        {bytes("FF FE"), "0 valid: 0"},
    };
    for (const auto& [answer, text] : rows) {
        bus.answer(answer);
        log.clear();
        EXPECT_EQ(link->writeData(message), NoResponse) << text;
        EXPECT_THAT(errors(), ElementsAre("Expected ack, got something else: " + text));
    }
}

TEST_P(BusLink, SilentBusGetsNoResponse) {
    EXPECT_EQ(link->writeData(message), NoResponse);
    EXPECT_THAT(bus.texts(), ElementsAre("writeRead " + messageText + ", 8", "read 8", "read 8", "read 8"));
    EXPECT_THAT(errors(), ElementsAre("Serial device read write failed", "Error Serial device bus master recv (ack)"));
}

TEST_P(BusLink, PacketOfAnySizeIsWrittenWhole) {
    for (const size_t size : {1U, 8U, 64U, 4096U, 65535U}) {
        bus.answer(ack);
        const ByteArray packet = patternBytes(size);
        bus.forget();
        EXPECT_EQ(link->writeData(packet), Accepted);
        EXPECT_THAT(bus.texts(), ElementsAre("writeRead " + hex(packet) + ", 8"));
    }
}

// --- writeReadPacket ---

TEST_P(BusLink, StartOnTheSecondReReadIsAcceptedAfterThreeMilliseconds) {
    for (const ByteArray& answer : {idle8, bytes("00 FE 08 00 A3 07 00 00"), ack}) bus.answer(answer);
    EXPECT_EQ(link->writeReadPacket(message, 8), ack);
    EXPECT_THAT(bus.texts(), ElementsAre("writeRead " + messageText + ", 8", "read 8", "read 8"));
    EXPECT_GE(pauseAfter(0), microseconds(1500));
    EXPECT_GE(pauseAfter(1), microseconds(1500));
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_TRUE(log.contains(log4cplus::DEBUG_LOG_LEVEL, "Received packet"));
}

TEST_P(BusLink, StartLateByOneTransferIsAccepted) {
    for (const ByteArray& answer : {ByteArray(), ack}) bus.answer(answer);
    EXPECT_EQ(link->writeData(message), Accepted);
    EXPECT_THAT(bus.texts(), SizeIs(2));
    EXPECT_THAT(errors(), IsEmpty());
}

// The third re-read comes back unexamined: the failure is logged although the packet may be good.
TEST_P(BusLink, StartOnTheThirdReReadIsReturnedAndReported) {
    for (const ByteArray& answer : {idle8, idle8, idle8, ack}) bus.answer(answer);
    EXPECT_EQ(link->writeReadPacket(message, 8), ack);
    EXPECT_THAT(bus.texts(), SizeIs(4));
    EXPECT_THAT(errors(), ElementsAre("Serial device read write failed"));
    EXPECT_FALSE(log.contains("Received packet"));
}

TEST_P(BusLink, StartLateByFourTransfersIsNotWaitedFor) {
    for (const ByteArray& answer : {idle8, idle8, idle8, idle8, ack}) bus.answer(answer);
    EXPECT_EQ(link->writeReadPacket(message, 8), idle8);
    EXPECT_THAT(bus.texts(), SizeIs(4));
}

TEST_P(BusLink, WhatWasReadLastIsReturned) {
    for (const ByteArray& answer : {idle8, bytes("01"), bytes("02 03"), bytes("04 05 06")}) bus.answer(answer);
    EXPECT_EQ(link->writeReadPacket(message, 8), bytes("04 05 06"));
}

TEST_P(BusLink, OneByteIsNoStart) {
    for (const ByteArray& answer : {bytes("FF"), bytes("FE FF"), bytes("FF FE")}) bus.answer(answer);
    EXPECT_EQ(link->writeReadPacket(message, 8), bytes("FF FE"));
    EXPECT_THAT(bus.texts(), SizeIs(3));
}

TEST_P(BusLink, StartInTheMiddleIsNoStart) {
    for (const ByteArray& answer : {bytes("00 FF FE 08 00 A3 07 00"), ack}) bus.answer(answer);
    EXPECT_EQ(link->writeReadPacket(message, 8), ack);
}

TEST_P(BusLink, FailedTransferLeavesItsTraceToo) {
    link->writeReadPacket(message, 8);
    EXPECT_THAT(log.lines(), ElementsAre(entered(writeReadSignature, linkLogger, "read packet size 8"),
                                         error("Serial device read write failed"),
                                         left(writeReadSignature, linkLogger, "read packet size 8")));
}

// --- sendAckPacket ---

TEST_P(BusLink, AcknowledgementsAreWrittenWithTheNextFrameId) {
    EXPECT_TRUE(link->sendAckPacket(AcknowledgeType::Ack));
    EXPECT_TRUE(link->sendAckPacket(AcknowledgeType::Nack));
    EXPECT_TRUE(link->sendAckPacket(AcknowledgeType::AckNack));
    EXPECT_TRUE(link->sendAckPacket(AcknowledgeType::None));
    EXPECT_THAT(bus.texts(), ElementsAre("write FF FE 08 00 A3 00 00 00", "write FF FE 08 00 63 01 00 00",
                                         "write FF FE 08 00 E3 02 00 00", "write FF FE 08 00 23 03 00 00"));
    EXPECT_THAT(log.lines(), ElementsAre(trace("Send Ack packet: type 2"), trace("Send Ack packet: type 1"),
                                         trace("Send Ack packet: type 3"), trace("Send Ack packet: type 0")));
}

TEST_P(BusLink, AcknowledgementThatIsNotWrittenIsReported) {
    bus.failWrites(true);
    EXPECT_FALSE(link->sendAckPacket(AcknowledgeType::Ack));
    EXPECT_THAT(log.lines(), ElementsAre(error("Serial write failed")));
}

TEST_P(BusLink, AcknowledgementWithoutABusTakesNoFrameId) {
    bus.setOpenResult(false);
    make();
    log.clear();
    EXPECT_FALSE(link->sendAckPacket(AcknowledgeType::Ack));
    EXPECT_THAT(log.lines(),
                ElementsAre(error("sending of Ack packet failed because the Serial device initialisation failed!")));
    EXPECT_EQ(link->nextFrameId(), 0);
}

// --- readFromSlave ---

TEST_P(BusLink, MessageIsAcknowledgedAndThenDelivered) {
    bus.answer(message);
    std::vector<std::string> callsAtDelivery;
    link->addDataReceivedObserver([&](const ByteArray&) { callsAtDelivery = bus.texts(); });
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(0, 64), acked(1)));
    EXPECT_EQ(callsAtDelivery, bus.texts());
    EXPECT_THAT(delivered, ElementsAre(message));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(BusLink, ExchangeLeavesItsTraceInOrder) {
    bus.answer(message);
    link->readFromSlave(64);
    EXPECT_THAT(log.lines(),
                ElementsAre(entered(readSignature, linkLogger, "readSize: 64"),
                            trace("Sending IRQ frame: \n 0x0000: ff fe 0e 00 22 00 00 00 40 00 00 00 00 00 "), rule,
                            entered(writeReadSignature, linkLogger, "read packet size 64"), debug("Received packet"),
                            left(writeReadSignature, linkLogger, "read packet size 64"),
                            trace("Read slave message: \n 0x0000: ff fe 0f 00 23 07 00 00 02 00 01 15 00 00 00 "), rule,
                            trace("Send Ack packet: type 2"), left(readSignature, linkLogger, "readSize: 64")));
}

TEST_P(BusLink, PacketIsDeliveredWithTheBytesReadBehindIt) {
    ByteArray filled = message;
    filled.resize(64, 0xFF);
    bus.answer(filled);
    link->readFromSlave(64);
    EXPECT_THAT(delivered, ElementsAre(filled));
}

TEST_P(BusLink, EachObserverGetsItsOwnCopy) {
    ByteArray second;
    link->addDataReceivedObserver([](ByteArray packet) { packet.assign(1, 0); });
    link->addDataReceivedObserver([&](ByteArray packet) { second = std::move(packet); });
    bus.answer(message);
    link->readFromSlave(64);
    EXPECT_EQ(second, message);
}

TEST_P(BusLink, MessageWhoseAcknowledgementFailsIsDeliveredAllTheSame) {
    bus.failWrites(true);
    bus.answer(message);
    link->readFromSlave(64);
    EXPECT_THAT(delivered, ElementsAre(message));
    EXPECT_THAT(errors(), ElementsAre("Serial write failed"));
}

TEST_P(BusLink, InvalidReplyIsRefused) {
    bus.answer(bytes("FF FE 0A 00 23 07 00 00 00 00"));
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(0, 64), nacked(1)));
    EXPECT_THAT(errors(), ElementsAre("Invalid message received"));
    EXPECT_THAT(delivered, IsEmpty());
}

TEST_P(BusLink, ReplyWithoutAStartIsRefusedAfterThreeReReads) {
    for (int i = 0; i < 4; ++i) bus.answer(ByteArray(64, 0xFF));
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(0, 64), "read 64", "read 64", "read 64", nacked(1)));
    EXPECT_THAT(errors(), ElementsAre("Serial device read write failed", "Invalid message received"));
}

TEST_P(BusLink, MessageThatIsCutShortIsRefused) {
    bus.answer(slice(message, 0, message.size() - 1));
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(0, 64), nacked(1)));
    EXPECT_THAT(delivered, IsEmpty());
}

TEST_P(BusLink, AnnouncementOf200LeadsToAReadOf200) {
    const ByteArray large = messageEnd(9, 0, patternBytes(190));
    bus.answer(announcement(200));
    bus.answer(large);
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(0, 64), asked(1, 200), acked(2)));
    EXPECT_THAT(delivered, ElementsAre(large));
}

TEST_P(BusLink, NestedRoundsLeaveTheirTraceInnermostFirst) {
    bus.answer(announcement(200));
    bus.answer(message);
    link->readFromSlave(64);
    std::vector<LogLine> lines;
    for (const LogLine& line : log.lines())
        if (line.text.find("readSize: ") != std::string::npos) lines.push_back(line);
    EXPECT_THAT(lines, ElementsAre(entered(readSignature, linkLogger, "readSize: 64"),
                                   entered(readSignature, linkLogger, "readSize: 200"),
                                   left(readSignature, linkLogger, "readSize: 200"),
                                   left(readSignature, linkLogger, "readSize: 64")));
}

TEST_P(BusLink, AnnouncementsOfUnusableSizesAreHandedToTheBus) {
    // 0, and 0xFFFFFFFF, which is -1 as the bus takes it: what comes back is up to the serial library.
    bus.answer(announcement(0));
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(0, 64), asked(1, 0), "read 0", "read 0", "read 0", nacked(2)));
    bus.forget();
    bus.answer(bytes("FF FE 0E 00 22 00 00 00 FF FF FF FF 00 00"));
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(3, 64), "writeRead FF FE 0E 00 22 04 00 00 FF FF FF FF 00 00, -1",
                                         "read -1", "read -1", "read -1", nacked(5)));
    EXPECT_THAT(delivered, IsEmpty());
}

TEST_P(BusLink, NackIsRetriedOnceWithTheSameSize) {
    bus.answer(announcement(200));
    bus.answer(nack);
    bus.answer(message);
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(0, 64), asked(1, 200), asked(2, 200), acked(3)));
    EXPECT_THAT(errors(), ElementsAre("Received NACK to IRQ frame, retrying"));
    EXPECT_THAT(delivered, ElementsAre(message));
}

TEST_P(BusLink, NackToTheRetryIsReportedAndDropped) {
    bus.answer(nack);
    bus.answer(nack);
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(0, 64), asked(1, 64)));
    EXPECT_THAT(errors(), ElementsAre("Received NACK to IRQ frame, retrying",
                                      "Received ack type 1 to IRQ frame, already retried:1"));
}

TEST_P(BusLink, NoRetryInTheFollowingExchangesUntilAGoodFrameArrives) {
    for (const ByteArray& answer : {nack, nack, nack, message, nack, message}) bus.answer(answer);
    link->readFromSlave(64);
    log.clear();
    link->readFromSlave(64); // the third nack
    EXPECT_THAT(errors(), ElementsAre("Received ack type 1 to IRQ frame, already retried:1"));
    link->readFromSlave(64); // a message
    log.clear();
    link->readFromSlave(64); // nack and message
    EXPECT_THAT(errors(), ElementsAre("Received NACK to IRQ frame, retrying"));
    EXPECT_THAT(delivered, SizeIs(2));
}

TEST_P(BusLink, OtherAcknowledgementsEndTheExchange) {
    const std::vector<std::pair<ByteArray, std::string>> rows{{neither, "0"}, {ack, "2"}, {both, "3"}};
    for (const auto& [reply, type] : rows) {
        bus.answer(reply);
        bus.forget();
        log.clear();
        link->readFromSlave(64);
        EXPECT_THAT(bus.texts(), SizeIs(1)); // the question, and no acknowledgement
        EXPECT_THAT(errors(), ElementsAre("Received ack type " + type + " to IRQ frame, already retried:0"));
    }
}

TEST_P(BusLink, WhatOnlyTheLinkSeesIsCounted) {
    LinkCounts counts;
    auto* counting = dynamic_cast<CountingLink*>(static_cast<HostLinkPhysicalLayer*>(link.get()));
    ASSERT_NE(counting, nullptr);
    counting->countInto(counts);
    bus.answer(idle8);
    bus.answer(message); // one exchange, one read again
    link->readFromSlave(64);
    bus.answer(bytes("FF FE 08 00 21 07 00 00"));
    link->readFromSlave(64);
    for (int i = 0; i < 4; ++i) bus.answer(idle8); // three more reads again, in vain
    link->readFromSlave(64);
    EXPECT_EQ(counts.of(LinkCounter::Exchanges), 3U);
    EXPECT_EQ(counts.of(LinkCounter::Rereads), 4U);
    EXPECT_EQ(counts.of(LinkCounter::OtherPackets), 1U);
    EXPECT_EQ(counts.of(LinkCounter::BadPackets), 1U);
    EXPECT_EQ(counts.of(LinkCounter::Edges), 0U);
    link.reset(); // before the counts
}

TEST_P(BusLink, UnknownFrameTypeIsDroppedWithoutAnAcknowledgement) {
    bus.answer(bytes("FF FE 08 00 21 07 00 00"));
    bus.answer(bytes("FF FE 0B 00 25 07 00 00 2A 00 00"));
    link->readFromSlave(64);
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(0, 64), asked(1, 64)));
    EXPECT_THAT(errors(), ElementsAre("Unsupported incoming message: 1", "Unsupported incoming message: 5"));
}

TEST_P(BusLink, HostThatAnnouncesForEverIsGivenUp) {
    for (int i = 0; i < 70; ++i) bus.answer(announcement(100));
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), SizeIs(64));
    EXPECT_THAT(errors(), ElementsAre("Exchange given up after 64 IRQ frames without a message"));
    // As many exits as entries.
    EXPECT_EQ(log.count("Enter " + dbglog_scopedFunction(readSignature, linkLogger)), 64U);
    EXPECT_EQ(log.count("Leave " + dbglog_scopedFunction(readSignature, linkLogger)), 64U);
}

TEST_P(BusLink, HostThatRefusesAndAnnouncesInTurnIsGivenUp) {
    for (int i = 0; i < 35; ++i) {
        bus.answer(nack);
        bus.answer(announcement(64));
    }
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), SizeIs(64));
    std::vector<std::string> expected(32, "Received NACK to IRQ frame, retrying");
    expected.emplace_back("Exchange given up after 64 IRQ frames without a message");
    EXPECT_EQ(errors(), expected);
}

TEST_P(BusLink, MessageInTheLastRoundIsDelivered) {
    for (int i = 0; i < 63; ++i) bus.answer(announcement(100));
    bus.answer(message);
    link->readFromSlave(64);
    EXPECT_THAT(delivered, ElementsAre(message));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(BusLink, ExchangeAfterOneThatWasGivenUpWorks) {
    for (int i = 0; i < 64; ++i) bus.answer(announcement(100));
    link->readFromSlave(64);
    bus.answer(message);
    link->readFromSlave(64);
    EXPECT_THAT(delivered, ElementsAre(message));
}

// --- Frame ids ---

TEST_P(BusLink, FrameIdsCountFrom0To255AndStartAgain) {
    for (int i = 0; i < 256; ++i) ASSERT_EQ(link->nextFrameId(), i);
    EXPECT_EQ(link->nextFrameId(), 0);
}

TEST_P(BusLink, WrittenPacketsTakeNoFrameId) {
    bus.answer(ack);
    link->writeData(message);
    EXPECT_EQ(link->nextFrameId(), 0);
}

TEST_P(BusLink, IrqFramesAndAcknowledgementsWrapToo) {
    for (int i = 0; i < 255; ++i) link->nextFrameId();
    bus.answer(message);
    link->readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(255, 64), acked(0)));
}

TEST_P(BusLink, NoTwoThreadsDrawTheSameFrameId) {
    std::mutex mutex;
    std::multiset<int> drawn;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < 64; ++i) {
                const int id = link->nextFrameId();
                const std::lock_guard lock(mutex);
                drawn.insert(id);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set<int>(drawn.begin(), drawn.end()).size(), 256U);
}

// --- Virtual operations ---

class OverridingLink : public I2cPhysicalLayer {
public:
    using I2cPhysicalLayer::I2cPhysicalLayer;

    int nextFrameId() override { return 0x77; }
    bool sendAckPacket(AcknowledgeType type) override {
        acknowledged.push_back(type);
        return true;
    }
    bool serialOk() override { return usable && I2cPhysicalLayer::serialOk(); }

    std::vector<AcknowledgeType> acknowledged;
    bool usable = true;
};

using OverriddenBusLink = ScriptedBusTest;

TEST_F(OverriddenBusLink, OperationsOfADerivedLinkAreUsed) {
    OverridingLink link(allProperties());
    bus.forget();
    bus.answer(message);
    link.readFromSlave(64);
    EXPECT_THAT(bus.texts(), ElementsAre(asked(0x77, 64)));
    EXPECT_THAT(link.acknowledged, ElementsAre(AcknowledgeType::Ack));
    link.usable = false;
    EXPECT_TRUE(link.writeReadPacket(message, 8).empty());
    EXPECT_THAT(errors(), ElementsAre("Reading packet failed because the Serial device initialisation failed!"));
}

// --- closeAndClearFd ---

TEST_P(BusLink, ClosingNothingIsHarmless) {
    link->closeAndClearFd(nullptr);
    int closed = -1;
    link->closeAndClearFd(&closed);
    EXPECT_EQ(closed, -1);
}

// --- Several threads ---

// Plays a host: a message to each IRQ frame, an ack to each packet.
void answerAll(ScriptedBus& bus) {
    bus.onWrite([&bus](const ByteArray& packet) {
        if (packet.size() == 14) bus.answer(message);
        if (packet.size() > 14) bus.answer(ack);
    });
}

TEST_P(BusLink, TransactionsOfSeveralThreadsNeverInterleave) {
    constexpr int rounds = 200;
    answerAll(bus);
    std::atomic<int> accepted{0};
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 3; ++writer) {
        writers.emplace_back([&] {
            for (int i = 0; i < rounds; ++i) accepted += link->writeData(message) == Accepted;
        });
    }
    for (int i = 0; i < rounds; ++i) link->readFromSlave(64);
    for (std::thread& writer : writers) writer.join();

    EXPECT_EQ(accepted, 3 * rounds);
    EXPECT_THAT(delivered, SizeIs(rounds));
    EXPECT_EQ(bus.mostAtOnce(), 1);
    const std::vector<std::string> calls = bus.texts();
    ASSERT_THAT(calls, SizeIs(5 * rounds));
    // The acknowledgement of a message follows its question at once.
    for (size_t i = 0; i < calls.size(); ++i) {
        if (startsWith(calls[i], "writeRead FF FE 0E 00 22")) {
            EXPECT_TRUE(startsWith(calls.at(i + 1), "write FF FE 08 00 A3")) << i;
        }
    }
}

TEST_P(BusLink, ReReadsBelongToTheTransaction) {
    auto other = std::async(std::launch::async, [&] { return link->writeData(message); });
    link->writeData(message);
    other.get();
    const std::string write = "writeRead " + messageText + ", 8";
    EXPECT_THAT(bus.texts(), ElementsAre(write, "read 8", "read 8", "read 8", write, "read 8", "read 8", "read 8"));
}

TEST_P(BusLink, WriterWaitsForTheObserversOfAnExchange) {
    answerAll(bus);
    std::future<WriteDataResponse> written;
    bool waited = false;
    link->addDataReceivedObserver([&](const ByteArray&) {
        std::promise<pid_t> writer;
        written = std::async(std::launch::async, [&] {
            writer.set_value(currentThread());
            return link->writeData(message);
        });
        const pid_t thread = writer.get_future().get();
        const auto isThrough = [&] { return written.wait_for(std::chrono::seconds(0)) == std::future_status::ready; };
        mustBecomeTrue([&] { return isThrough() || sleepsOnFutex(thread); }, "the writer waits or is through");
        waited = !isThrough();
    });
    link->readFromSlave(64);
    EXPECT_TRUE(waited);
    mustEnd(written, "the write");
    EXPECT_EQ(written.get(), Accepted);
}

TEST_P(BusLink, WriterWaitsForTheEndOfAnExchange) {
    answerAll(bus);
    bus.hold(true);
    const std::future<void> exchanged = std::async(std::launch::async, [&] { link->readFromSlave(64); });
    ASSERT_TRUE(bus.waitForHeld(1));
    std::promise<pid_t> writer;
    std::future<WriteDataResponse> written = std::async(std::launch::async, [&] {
        writer.set_value(currentThread());
        return link->writeData(message);
    });
    const pid_t thread = writer.get_future().get();
    mustBecomeTrue([&] { return sleepsOnFutex(thread); }, "the writer sleeps, before the bus or, wrongly, inside");
    bus.hold(false);
    mustEnd(exchanged, "the exchange");
    mustEnd(written, "the write");
    EXPECT_EQ(bus.mostAtOnce(), 1);
    EXPECT_EQ(written.get(), Accepted);
}

TEST_P(BusLink, ObserverMayHaveAnotherThreadWrite) {
    answerAll(bus);
    std::future<WriteDataResponse> answer;
    link->addDataReceivedObserver(
        [&](const ByteArray&) { answer = std::async(std::launch::async, [&] { return link->writeData(message); }); });
    link->readFromSlave(64);
    EXPECT_EQ(answer.get(), Accepted);
}

TEST_P(BusLink, DestructorWaitsForAWriterInside) {
    answerAll(bus);
    bus.hold(true);
    auto written = std::async(std::launch::async, [&] { return link->writeData(message); });
    ASSERT_TRUE(bus.waitForHeld(1));
    auto destroyed = std::async(std::launch::async, [&] { link.reset(); });
    EXPECT_EQ(destroyed.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    bus.hold(false);
    EXPECT_EQ(written.get(), Accepted);
    destroyed.get();
}

// --- Calls inside while the link is destroyed ---

// A link of a program's own, which must find itself whole in each call.
template <typename Link> class OwnLink : public Link {
public:
    using Link::Link;
    ~OwnLink() override { this->endCalls(); }

    bool serialOk() override {
        ++asked;
        return Link::serialOk();
    }
    static inline std::atomic<int> asked{0};
};

// A call that is held inside the bus, and a thread that destroys the link meanwhile.
class BusLinkGoing : public BusLink {
protected:
    void SetUp() override {
        BusLink::SetUp();
        answerAll(bus);
        bus.hold(true);
    }
    void TearDown() override {
        bus.hold(false); // also when an assertion has left something inside
        for (std::future<void>& thread : threads) thread.wait();
    }

    /// Runs it on a thread of its own, whose id it returns.
    template <typename Work> pid_t inBackground(Work work) {
        auto id = std::make_shared<std::promise<pid_t>>();
        std::future<pid_t> began = id->get_future();
        threads.push_back(std::async(std::launch::async, [id, work] {
            id->set_value(currentThread());
            work();
        }));
        return began.get();
    }

    /// Until the thread waits for another one: the latest of those that were started.
    bool waitUntilAsleep(pid_t thread) {
        const auto deadline = std::chrono::steady_clock::now() + ScriptedBus::patience;
        while (!sleepsOnFutex(thread)) {
            const bool ended = threads.back().wait_for(std::chrono::seconds(0)) == std::future_status::ready;
            if (ended || std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::yield();
        }
        return true;
    }

    void holdWriter() {
        inBackground([this, to = link.get()] { first = to->writeData(message); });
        ASSERT_TRUE(bus.waitForHeld(1));
    }

    /// A second writer, which waits for the bus.
    void queueWriter() {
        const pid_t writer = inBackground([this, to = link.get()] { second = to->writeData(message); });
        // Behind the second of the lines that dump the packet there is no lock but that of the bus.
        ASSERT_TRUE(log.waitFor(rule.text, 2));
        ASSERT_TRUE(waitUntilAsleep(writer));
    }

    /// The link is being destroyed and waits for who is inside; the pointer stays good until it is released.
    void beginDestruction() {
        HostLinkPhysicalLayer* const going = link.release();
        const pid_t destroyer = inBackground([going] { delete going; });
        ASSERT_TRUE(waitUntilAsleep(destroyer)) << "it has not waited";
    }

    /// What `call` returns, and `otherwise` when it does not return while the others are inside.
    template <typename Call, typename Result> Result whileOthersAreInside(Call call, Result otherwise) {
        auto result = std::make_shared<std::promise<Result>>();
        std::future<Result> returned = result->get_future();
        inBackground([result, call] { result->set_value(call()); });
        const bool came = returned.wait_for(ScriptedBus::patience) == std::future_status::ready;
        return came ? returned.get() : otherwise;
    }

    std::atomic<WriteDataResponse> first{Error};
    std::atomic<WriteDataResponse> second{Error};
    std::vector<std::future<void>> threads;
};

INSTANTIATE_TEST_SUITE_P(Wires, BusLinkGoing, testing::Values(Wire::I2c, Wire::Spi),
                         [](const auto& wire) { return wire.param == Wire::I2c ? "I2c" : "Spi"; });

TEST_P(BusLinkGoing, QueuedWriterMeetsAWholeObject) {
    holdWriter();
    queueWriter();
    SyncSerialLayer* const going = link.get();
    std::mutex mutex;
    std::vector<std::string> met; // what the object was during each write
    bus.onWrite([&](const ByteArray&) {
        const std::lock_guard lock(mutex);
        met.emplace_back(typeid(*going).name());
        bus.answer(ack);
    });
    const std::string whole = typeid(*going).name();
    beginDestruction();
    bus.hold(false);
    for (std::future<void>& thread : threads) thread.wait();
    EXPECT_THAT(met, ElementsAre(whole, whole));
    EXPECT_EQ(first, Accepted);
    EXPECT_EQ(second, Accepted);
}

TEST_P(BusLinkGoing, QueuedWriterMeetsAWholeObjectOfAProgramsOwnClass) {
    bus.hold(false); // it opens the bus
    if (GetParam() == Wire::I2c)
        link = std::make_unique<OwnLink<I2cPhysicalLayer>>(allProperties());
    else
        link = std::make_unique<OwnLink<SpiPhysicalLayer>>(allProperties());
    std::atomic<int>& asked =
        GetParam() == Wire::I2c ? OwnLink<I2cPhysicalLayer>::asked : OwnLink<SpiPhysicalLayer>::asked;
    bus.hold(true);
    asked = 0;
    log.clear();
    holdWriter();
    queueWriter();
    beginDestruction();
    EXPECT_EQ(asked, 1);
    bus.hold(false);
    for (std::future<void>& thread : threads) thread.wait();
    EXPECT_EQ(asked, 2) << "the second writer asked another object";
    EXPECT_EQ(second, Accepted);
}

TEST_P(BusLinkGoing, WriteThatComesTooLateGetsNoResponse) {
    holdWriter();
    HostLinkPhysicalLayer* const going = link.get();
    beginDestruction();
    log.clear();
    EXPECT_EQ(whileOthersAreInside([going] { return going->writeData(message); }, Error), NoResponse);
    EXPECT_EQ(whileOthersAreInside([going] { return going->writeData({}); }, Error), NoResponse);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_P(BusLinkGoing, AcknowledgementThatComesTooLateIsNotSent) {
    holdWriter();
    SyncSerialLayer* const going = link.get();
    beginDestruction();
    log.clear();
    bus.forget();
    EXPECT_FALSE(whileOthersAreInside([going] { return going->sendAckPacket(AcknowledgeType::Ack); }, true));
    EXPECT_THAT(bus.texts(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_P(BusLinkGoing, AcknowledgementInsideIsWaitedFor) {
    std::atomic<bool> sent{false};
    inBackground([&sent, to = link.get()] { sent = to->sendAckPacket(AcknowledgeType::Ack); });
    ASSERT_TRUE(bus.waitForHeld(1));
    beginDestruction();
    bus.hold(false);
    for (std::future<void>& thread : threads) thread.wait();
    EXPECT_TRUE(sent);
}

// --- Life without a line ---

TEST_P(BusLink, ShutdownBeforeInitDoesNothing) {
    link->shutdown();
    link->shutdown();
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(bus.texts(), IsEmpty());
}

// Wherever there is no line of that number.
TEST_P(BusLink, LineThatDoesNotExistFailsInit) {
    HostLinkPhysicalLayer::Properties properties = allProperties();
    properties.setInt(GpioNumber, 999999);
    make(properties);
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(link->init());
        EXPECT_TRUE(log.contains(log4cplus::ERROR_LOG_LEVEL, "Gpio direction failed: 999999"));
        EXPECT_TRUE(log.contains(log4cplus::ERROR_LOG_LEVEL, "Gpio edge failed: 999999"));
        EXPECT_TRUE(log.contains(log4cplus::ERROR_LOG_LEVEL, "Open failed: 999999"));
        log.clear();
    }
    link->shutdown();
    EXPECT_THAT(log.lines(), IsEmpty());
    bus.answer(ack);
    EXPECT_EQ(link->writeData(message), Accepted);
}

} // namespace
