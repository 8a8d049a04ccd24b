#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/hierarchy.h>

#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/physicalLayers/DummyPhysicalLayer.h>

#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/Packets.h"
#include "support/ProcessCounts.h"
#include "support/TraceLine.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr auto linkLogger = "HostLinkPhysicalLayer";

TEST(DummyLink, InitSucceedsHoweverOften) {
    DummyPhysicalLayer link({});
    const long threads = threadCount();
    const long descriptors = descriptorCount();
    EXPECT_TRUE(link.init());
    EXPECT_TRUE(link.init());
    link.shutdown();
    EXPECT_TRUE(link.init());
    EXPECT_TRUE(waitUntilNoMoreThreadsThan(threads));
    EXPECT_EQ(descriptorCount(), descriptors);
}

TEST(DummyLink, FrameIdIsAlwaysZero) {
    DummyPhysicalLayer link({});
    for (int call = 0; call < 300; ++call) EXPECT_EQ(link.nextFrameId(), 0);
}

// Whoever disables logging for the whole program means these lines, too.
TEST(DummyLink, LogsNothingWhileTheWholeHierarchyIsDisabled) {
    DummyPhysicalLayer link({});
    const LogCapture log(linkLogger);
    log4cplus::Logger::getDefaultHierarchy().disableAll();
    link.init();
    log4cplus::Logger::getDefaultHierarchy().enableAll();
    EXPECT_THAT(log.lines(), IsEmpty());
    link.init();
    EXPECT_THAT(log.lines(), testing::SizeIs(1));
}

TEST(DummyLink, EveryWriteIsAnError) {
    DummyPhysicalLayer link({});
    EXPECT_EQ(link.writeData(messageEnd(0, 0, bytes("02 00 01 15 00"))), 2);
    link.init();
    EXPECT_EQ(link.writeData(messageEnd(0, 0, bytes("02 00 01 15 00"))), 2);
    link.shutdown();
    EXPECT_EQ(link.writeData(messageEnd(0, 0, bytes("02 00 01 15 00"))), 2);
}

TEST(DummyLink, WriteOfNothingIsAnErrorToo) {
    DummyPhysicalLayer link({});
    EXPECT_EQ(link.writeData({}), 2);
}

TEST(DummyLink, EntryLinesAreAllItLogs) {
    DummyPhysicalLayer link({});
    LogCapture log(linkLogger);
    link.init();
    link.nextFrameId();
    link.writeData(ByteArray(12));
    link.writeData({});
    link.shutdown();
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            entered("virtual bool DummyPhysicalLayer::init()", linkLogger),
            entered("virtual int DummyPhysicalLayer::nextFrameId()", linkLogger),
            entered("virtual WriteDataResponse DummyPhysicalLayer::writeData(const ByteArray&)", linkLogger, "12"),
            entered("virtual WriteDataResponse DummyPhysicalLayer::writeData(const ByteArray&)", linkLogger, "0"),
            entered("virtual void DummyPhysicalLayer::shutdown()", linkLogger)));
}

TEST(DummyLink, ConstructionLogsThePacketSize) {
    LogCapture log(linkLogger);
    const DummyPhysicalLayer link({});
    EXPECT_THAT(log.lines(), ElementsAre(debug("Max packet size: 64")));
}

TEST(DummyLink, AnswersStayTheSameWithLoggingOff) {
    LogCapture log(linkLogger);
    log4cplus::Logger::getInstance(linkLogger).setLogLevel(log4cplus::DEBUG_LOG_LEVEL);
    DummyPhysicalLayer link({});
    log.clear();
    EXPECT_TRUE(link.init());
    EXPECT_EQ(link.nextFrameId(), 0);
    EXPECT_EQ(link.writeData(ByteArray(12)), 2);
    link.shutdown();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(DummyLink, TakesThePacketSizeFromTheProperties) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setInt(MaxPacketSize, 128);
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("dummy", properties));
    ASSERT_NE(link, nullptr);
    EXPECT_EQ(link->getMaxPacketSize(), 128);
}

TEST(DummyLink, ConstructionFailsOnABadPacketSizeText) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(MaxPacketSize, "many");
    EXPECT_THROW(DummyPhysicalLayer{properties}, std::invalid_argument);
    properties.setString(MaxPacketSize, "99999999999");
    EXPECT_THROW(DummyPhysicalLayer{properties}, std::out_of_range);
}

TEST(DummyLink, ServesSeveralThreadsAtOnce) {
    DummyPhysicalLayer link({});
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&link] {
            for (int round = 0; round < 100; ++round) {
                EXPECT_TRUE(link.init());
                EXPECT_EQ(link.nextFrameId(), 0);
                EXPECT_EQ(link.writeData(ByteArray(9)), 2);
                link.shutdown();
            }
        });
    for (std::thread& thread : threads) thread.join();
}

TEST(DummyLink, TransportOverItStartsFailsToWriteAndStops) {
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("dummy", {}));
    ASSERT_NE(link, nullptr);
    int messages = 0;
    HostLinkTransportLayer transport(link.get());
    transport.addMessageReceivedObserver([&messages](const ByteArray&) { ++messages; });
    LogCapture linkLog(linkLogger);
    LogCapture transportLog("HostLinkTransportLayer");

    transport.initTransportLayer();
    // 100 bytes make two packets of at most 64: the second is never written.
    EXPECT_FALSE(transport.writeMessage(patternBytes(100)));
    transport.shutdown();

    EXPECT_EQ(messages, 0);
    EXPECT_THAT(linkLog.lines(),
                ElementsAre(entered("virtual bool DummyPhysicalLayer::init()", linkLogger),
                            entered("virtual int DummyPhysicalLayer::nextFrameId()", linkLogger),
                            entered("virtual WriteDataResponse DummyPhysicalLayer::writeData(const ByteArray&)",
                                    linkLogger, "64"),
                            entered("virtual void DummyPhysicalLayer::shutdown()", linkLogger)));
    EXPECT_THAT(transportLog.texts(log4cplus::ERROR_LOG_LEVEL),
                ElementsAre("Unable to write data to the physical layer: 2"));
}

} // namespace
