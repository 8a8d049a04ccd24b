#include <climits>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/physicalLayers/DummyPhysicalLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "support/Bytes.h"
#include "support/FakeLink.h"
#include "support/LogCapture.h"
#include "support/NeverDestroyed.h"
#include "support/TraceLine.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr auto linkLogger = "HostLinkPhysicalLayer";
const std::string rule(70, '=');

using Properties = HostLinkPhysicalLayer::Properties;

// --- Properties ---

TEST(LinkProperties, AbsentKeyReadsAsNothing) {
    const Properties properties;
    EXPECT_FALSE(properties.contains(DevicePath));
    EXPECT_EQ(properties.getString(DevicePath), "");
    EXPECT_EQ(properties.getInt(UartBaudRate), 0);
    EXPECT_FALSE(properties.contains(UartBaudRate)) << "reading makes no entry";
}

TEST(LinkProperties, TextIsKeptAsGiven) {
    Properties properties;
    properties.setString(DevicePath, "/dev/tty port\n");
    EXPECT_TRUE(properties.contains(DevicePath));
    EXPECT_EQ(properties.getString(DevicePath), "/dev/tty port\n");
    properties.setString(DevicePath, "");
    EXPECT_TRUE(properties.contains(DevicePath));
    EXPECT_EQ(properties.getString(DevicePath), "");
}

TEST(LinkProperties, NumberIsStoredAsDecimalText) {
    Properties properties;
    properties.setInt(GpioNumber, -5);
    EXPECT_EQ(properties.getString(GpioNumber), "-5");
    properties.setInt(GpioNumber, 0);
    EXPECT_EQ(properties.getString(GpioNumber), "0");
    properties.setInt(GpioNumber, INT_MIN);
    EXPECT_EQ(properties.getString(GpioNumber), "-2147483648");
    EXPECT_EQ(properties.getInt(GpioNumber), INT_MIN);
    properties.setInt(GpioNumber, INT_MAX);
    EXPECT_EQ(properties.getString(GpioNumber), "2147483647");
    EXPECT_EQ(properties.getInt(GpioNumber), INT_MAX);
}

TEST(LinkProperties, LastValueOfAKeyCounts) {
    Properties properties;
    properties.setInt(SpiSpeed, 1);
    properties.setString(SpiSpeed, "2");
    EXPECT_EQ(properties.getInt(SpiSpeed), 2);
    properties.setInt(SpiSpeed, 3);
    EXPECT_EQ(properties.getString(SpiSpeed), "3");
}

TEST(LinkProperties, KeysDoNotTouchEachOther) {
    Properties properties;
    for (int key = DevicePath; key <= MaxPacketSize; ++key) {
        properties.setInt(static_cast<DeviceProperties>(key), 100 + key);
    }
    for (int key = DevicePath; key <= MaxPacketSize; ++key) {
        EXPECT_EQ(properties.getInt(static_cast<DeviceProperties>(key)), 100 + key);
    }
}

TEST(LinkProperties, KeysHaveTheirNumbers) {
    EXPECT_EQ(DevicePath, 0);
    EXPECT_EQ(GpioNumber, 1);
    EXPECT_EQ(I2cSlaveAddress, 2);
    EXPECT_EQ(SpiSpeed, 3);
    EXPECT_EQ(UartResponseTimeout, 4);
    EXPECT_EQ(UartBaudRate, 5);
    EXPECT_EQ(UartParity, 6);
    EXPECT_EQ(UartOptions, 7);
    EXPECT_EQ(MaxPacketSize, 8);
    EXPECT_EQ(Accepted, 0);
    EXPECT_EQ(Rejected, 1);
    EXPECT_EQ(Error, 2);
    EXPECT_EQ(NoResponse, 3);
}

TEST(LinkProperties, NumberIsReadUpToTheFirstNonDigit) {
    Properties properties;
    const auto read = [&properties](const char* text) {
        properties.setString(MaxPacketSize, text);
        return properties.getInt(MaxPacketSize);
    };
    EXPECT_EQ(read(" 32abc"), 32);
    EXPECT_EQ(read("\t\n +7"), 7);
    EXPECT_EQ(read("-12.9"), -12);
    EXPECT_EQ(read("010"), 10); // decimal, not octal
    EXPECT_EQ(read("0x10"), 0);
    EXPECT_EQ(read("2147483647"), INT_MAX);
}

std::string failureText(const char* text) {
    Properties properties;
    properties.setString(MaxPacketSize, text);
    try {
        properties.getInt(MaxPacketSize);
    } catch (const std::invalid_argument& failure) {
        return std::string("invalid_argument ") + failure.what();
    } catch (const std::out_of_range& failure) {
        return std::string("out_of_range ") + failure.what();
    }
    return "none";
}

TEST(LinkProperties, TextThatIsNoNumberRaises) {
    EXPECT_EQ(failureText("abc"), "invalid_argument stoi");
    EXPECT_EQ(failureText(""), "invalid_argument stoi");
    EXPECT_EQ(failureText(" "), "invalid_argument stoi");
    EXPECT_EQ(failureText("-"), "invalid_argument stoi");
    EXPECT_EQ(failureText("99999999999"), "out_of_range stoi");
    EXPECT_EQ(failureText("2147483648"), "out_of_range stoi");
    EXPECT_EQ(failureText("-2147483649"), "out_of_range stoi");
}

TEST(LinkProperties, CopiesAreIndependent) {
    Properties properties;
    properties.setInt(MaxPacketSize, 100);
    const Properties copy = properties;
    properties.setInt(MaxPacketSize, 200);
    EXPECT_EQ(copy.getInt(MaxPacketSize), 100);
}

// --- Factory and construction ---

TEST(LinkFactory, DummyWithoutPropertiesHasPacketsOf64) {
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("dummy", {}));
    EXPECT_NE(dynamic_cast<DummyPhysicalLayer*>(link.get()), nullptr);
    EXPECT_EQ(link->getMaxPacketSize(), 64);
}

TEST(LinkFactory, UartIsMadeWithoutBeingOpened) {
    LogCapture log(linkLogger);
    // Properties as they are; init() is what looks at them.
    HostLinkPhysicalLayer* const link = HostLinkPhysicalLayer::create("uart", {});
    neverDestroyed(link);
    auto* const uart = dynamic_cast<UartPhysicalLayer*>(link);
    ASSERT_NE(uart, nullptr);
    EXPECT_FALSE(uart->uartOk());
    EXPECT_EQ(uart->getMaxPacketSize(), 64);
    EXPECT_THAT(log.lines(), ElementsAre(debug("Max packet size: 64")));
}

TEST(LinkFactory, OtherNamesGiveNullWithoutALine) {
    LogCapture log(linkLogger);
    for (const char* name :
         {"Dummy", "DUMMY", "Uart", "UART", "dummy ", " uart", "uar", "uarts", "i2C", "Spi", "", "tcp"}) {
        EXPECT_EQ(HostLinkPhysicalLayer::create(name, {}), nullptr) << '"' << name << '"';
    }
    EXPECT_EQ(HostLinkPhysicalLayer::create(nullptr, {}), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(LinkFactory, BadPacketSizeRaisesFromCreate) {
    Properties properties;
    properties.setString(MaxPacketSize, "letters");
    EXPECT_THROW(HostLinkPhysicalLayer::create("dummy", properties), std::invalid_argument);
    EXPECT_THROW(HostLinkPhysicalLayer::create("uart", properties), std::invalid_argument);
    EXPECT_EQ(HostLinkPhysicalLayer::create("nothing", properties), nullptr);
    properties.setString(MaxPacketSize, "99999999999");
    EXPECT_THROW(HostLinkPhysicalLayer::create("dummy", properties), std::out_of_range);
    EXPECT_THROW(HostLinkPhysicalLayer::create("uart", properties), std::out_of_range);
}

TEST(PhysicalLayer, PacketSizeIsTakenWithoutBounds) {
    for (const int size : {256, 128, 11, 10, 1, 0, -1, 65535, 65536, INT_MAX, INT_MIN}) {
        LogCapture log(linkLogger);
        EXPECT_EQ(FakeLink(FakeLink::packetSize(size)).getMaxPacketSize(), size);
        EXPECT_THAT(log.lines(), ElementsAre(debug("Max packet size: " + std::to_string(size))));
    }
}

TEST(PhysicalLayer, PacketSizeTextIsReadLikeAnyNumber) {
    Properties properties;
    properties.setString(MaxPacketSize, " 32abc");
    EXPECT_EQ(FakeLink(properties).getMaxPacketSize(), 32);
}

// --- Observers ---

TEST(PhysicalLayer, NotifyWithoutObserversDoesNothing) {
    FakeLink link;
    LogCapture log(linkLogger);
    link.notifyObservers(bytes("01 02"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(PhysicalLayer, ObserversRunInOrderEachWithItsOwnCopy) {
    FakeLink link;
    std::vector<ByteArray> received;
    link.addDataReceivedObserver([&](ByteArray packet) {
        packet[0] = 0xEE;
        packet.push_back(0xEE);
        received.push_back(std::move(packet));
    });
    link.addDataReceivedObserver([&](ByteArray packet) { received.push_back(std::move(packet)); });
    link.notifyObservers(bytes("01 02"));
    EXPECT_THAT(received, ElementsAre(bytes("EE 02 EE"), bytes("01 02")));
}

TEST(PhysicalLayer, ObserverAddedTwiceRunsTwice) {
    FakeLink link;
    int calls = 0;
    const auto observer = [&calls](const ByteArray&) { ++calls; };
    link.addDataReceivedObserver(observer);
    link.addDataReceivedObserver(observer);
    link.notifyObservers({});
    EXPECT_EQ(calls, 2);
}

TEST(PhysicalLayer, EmptyObserverRaisesBadFunctionCall) {
    FakeLink link;
    int before = 0;
    int after = 0;
    link.addDataReceivedObserver([&before](const ByteArray&) { ++before; });
    link.addDataReceivedObserver(nullptr);
    link.addDataReceivedObserver([&after](const ByteArray&) { ++after; });
    EXPECT_THROW(link.notifyObservers(bytes("01")), std::bad_function_call);
    EXPECT_EQ(before, 1);
    EXPECT_EQ(after, 0);
}

TEST(PhysicalLayer, FailureOfAnObserverComesThrough) {
    FakeLink link;
    link.addDataReceivedObserver([](const ByteArray&) { throw std::runtime_error("mine"); });
    EXPECT_THROW(link.notifyObservers(bytes("01")), std::runtime_error);
}

// --- printBuffer ---

std::vector<LogLine> dumpOf(const ByteArray& buffer, const char* title) {
    const LogCapture log(linkLogger);
    HostLinkPhysicalLayer::printBuffer(buffer, title);
    return log.lines();
}

TEST(PrintBuffer, EmptyBufferIsItsTitle) {
    EXPECT_THAT(dumpOf({}, "Writing data: "), ElementsAre(trace("Writing data: "), trace(rule)));
}

TEST(PrintBuffer, SixteenBytesAreOneLine) {
    EXPECT_THAT(dumpOf(bytes("00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E FF"), "T"),
                ElementsAre(trace("T\n 0x0000: 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e ff "), trace(rule)));
}

TEST(PrintBuffer, SeventeenthByteBeginsASecondLine) {
    EXPECT_THAT(
        dumpOf(ByteArray(17, 0xAB), ""),
        ElementsAre(trace("\n 0x0000: ab ab ab ab ab ab ab ab ab ab ab ab ab ab ab ab \n 0x0010: ab "), trace(rule)));
}

TEST(PrintBuffer, TwentyBytesAreTwoLines) {
    EXPECT_THAT(dumpOf(ByteArray(20, 0x09), "Writing data: "),
                ElementsAre(trace("Writing data: \n 0x0000: 09 09 09 09 09 09 09 09 09 09 09 09 09 09 09 09 "
                                  "\n 0x0010: 09 09 09 09 "),
                            trace(rule)));
}

TEST(PrintBuffer, WideOffsetsAreWrittenInFull) {
    const std::vector<LogLine> lines = dumpOf(ByteArray(0x10001, 0), "T");
    ASSERT_EQ(lines.size(), 2u);
    const std::string& text = lines[0].text;
    EXPECT_NE(text.find("\n 0xfff0: 00 "), std::string::npos);
    EXPECT_EQ(text.substr(text.rfind('\n')), "\n 0x10000: 00 ");
    // Title; 4097 offsets, the last of them one digit wider; 3 characters a byte.
    EXPECT_EQ(text.size(), 1u + 4097 * 10 + 1 + 3 * 65537);
}

TEST(PrintBuffer, NullTitleLeavesTheTextEmpty) {
    EXPECT_THAT(dumpOf(bytes("01 02"), nullptr), ElementsAre(trace(""), trace(rule)));
    EXPECT_THAT(dumpOf({}, nullptr), ElementsAre(trace(""), trace(rule)));
}

TEST(PrintBuffer, NothingBelowTrace) {
    const LogCapture log(linkLogger);
    log4cplus::Logger::getInstance(linkLogger).setLogLevel(log4cplus::DEBUG_LOG_LEVEL);
    HostLinkPhysicalLayer::printBuffer(bytes("01 02"), "T");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(PrintBuffer, ServesSeveralThreadsAtOnce) {
    const LogCapture log(linkLogger);
    const auto print = [] {
        for (int i = 0; i < 100; ++i) HostLinkPhysicalLayer::printBuffer(ByteArray(3, 0x5A), "T");
    };
    std::thread other(print);
    print();
    other.join();
    EXPECT_EQ(log.count("T\n 0x0000: 5a 5a 5a "), 200u);
    EXPECT_EQ(log.count(rule), 200u);
}

} // namespace
