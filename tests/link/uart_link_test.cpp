// The UART link over a pseudo terminal: the serial library of the project underneath, the test on the far side.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "NeverDestroyed.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/Packets.h"
#include "support/ProcessCounts.h"
#include "support/Pty.h"
#include "support/TestSeed.h"
#include "support/TraceLine.h"

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr auto linkLogger = "HostLinkPhysicalLayer";

// A response timeout that a test never waits for: where it would be waited for, the test fails.
constexpr int never = 120000;
// One that a test does wait for.
constexpr int shortly = 50;
// Far more than anything here takes, far less than `never`.
constexpr seconds patience{20};

const ByteArray incoming = bytes("FF FE 0F 00 23 07 00 00 02 00 01 15 00 00 00");

HostLinkPhysicalLayer::Properties propertiesOf(const std::string& path, int timeout) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, path);
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, timeout);
    return properties;
}

// Packets in order of delivery; any thread.
class Inbox {
public:
    void put(ByteArray packet) {
        const std::lock_guard lock(mutex);
        packets.push_back(std::move(packet));
        grown.notify_all();
    }
    bool waitFor(size_t count) {
        std::unique_lock lock(mutex);
        return grown.wait_for(lock, patience, [&] { return packets.size() >= count; });
    }
    std::vector<ByteArray> all() {
        const std::lock_guard lock(mutex);
        return packets;
    }

private:
    std::mutex mutex; // guards packets
    std::condition_variable grown;
    std::vector<ByteArray> packets;
};

class UartLink : public testing::Test {
protected:
    void make(const HostLinkPhysicalLayer::Properties& properties) {
        link = std::make_unique<UartPhysicalLayer>(properties);
        link->addDataReceivedObserver([this](ByteArray packet) { inbox.put(std::move(packet)); });
    }
    void start(int timeout = never) {
        make(propertiesOf(pty.slavePath(), timeout));
        ASSERT_TRUE(link->init());
    }
    // Never started, so it must not be destroyed.
    void keep() { neverDestroyed(link.release()); }

    std::future<WriteDataResponse> writeFromAnotherThread(const ByteArray& packet) {
        return std::async(std::launch::async, [target = link.get(), packet] { return target->writeData(packet); });
    }
    // The host's side of one packet: it arrives, and is answered.
    void answer(const ByteArray& packet, const ByteArray& response) {
        ASSERT_EQ(hex(pty.read(packet.size())), hex(packet));
        ASSERT_TRUE(pty.write(response));
    }

    Pty pty;
    Inbox inbox;
    std::unique_ptr<UartPhysicalLayer> link; // goes first
};

class LoggedUartLink : public UartLink {
protected:
    ~LoggedUartLink() override { link.reset(); } // before its log goes
    LogCapture log{linkLogger};
};

std::vector<std::string> errorsOf(const LogCapture& log) {
    return log.texts(log4cplus::ERROR_LOG_LEVEL);
}

// --- init ---

TEST_F(LoggedUartLink, StartLogsThePathAtInfo) {
    start();
    ASSERT_TRUE(log.waitFor("Enter "));
    EXPECT_TRUE(log.contains(log4cplus::INFO_LOG_LEVEL,
                             "UART hostlink physical communication started on path : " + pty.slavePath()));
    EXPECT_TRUE(log.contains(log4cplus::DEBUG_LOG_LEVEL, "Started read thread"));
    EXPECT_TRUE(link->uartOk());
    EXPECT_THAT(errorsOf(log), IsEmpty());
}

// What init() leaves behind when it fails: nothing.
class UartLinkFailedInit : public LoggedUartLink {
protected:
    void expectFailure(const HostLinkPhysicalLayer::Properties& properties, const char* line) {
        const long threads = threadCount();
        const long descriptors = descriptorCount();
        make(properties);
        log.clear();
        EXPECT_FALSE(link->init());
        EXPECT_THAT(log.lines(), ElementsAre(error(line)));
        EXPECT_FALSE(link->uartOk());
        EXPECT_EQ(threadCount(), threads);
        EXPECT_EQ(descriptorCount(), descriptors);
        EXPECT_EQ(link->writeData(incoming), NoResponse);
        keep();
    }
};

TEST_F(UartLinkFailedInit, WithoutDevicePath) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, never);
    expectFailure(properties, "Some of UART attributes not defined");
}

TEST_F(UartLinkFailedInit, WithoutBaudRate) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, pty.slavePath());
    properties.setInt(UartResponseTimeout, never);
    expectFailure(properties, "Some of UART attributes not defined");
}

TEST_F(UartLinkFailedInit, WithoutResponseTimeout) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, pty.slavePath());
    properties.setInt(UartBaudRate, 115200);
    expectFailure(properties, "Some of UART attributes not defined");
}

TEST_F(UartLinkFailedInit, OfADeviceThatDoesNotExist) {
    expectFailure(propertiesOf("/dev/no-such-port", never), "Failed to initialize uart");
}

TEST_F(UartLinkFailedInit, OfADirectory) {
    expectFailure(propertiesOf("/dev", never), "Failed to initialize uart");
}

TEST_F(UartLinkFailedInit, OfADeviceThatIsNoTerminal) {
    expectFailure(propertiesOf("/dev/null", never), "Failed to initialize uart");
}

TEST_F(UartLinkFailedInit, OfADeviceInUse) {
    UartPhysicalLayer first(propertiesOf(pty.slavePath(), never));
    ASSERT_TRUE(first.init());
    ASSERT_TRUE(log.waitFor("Enter "));
    expectFailure(propertiesOf(pty.slavePath(), never), "Failed to initialize uart");
    ASSERT_TRUE(pty.write(incoming));
    EXPECT_EQ(pty.read(8), responseFrame(0xA3, 0)) << "the first goes on";
}

TEST_F(UartLinkFailedInit, OfAnUnknownParity) {
    HostLinkPhysicalLayer::Properties properties = propertiesOf(pty.slavePath(), never);
    properties.setString(UartParity, "sometimes");
    expectFailure(properties, "Failed to initialize uart");
}

TEST_F(UartLinkFailedInit, OfABaudRateOfZero) {
    HostLinkPhysicalLayer::Properties properties = propertiesOf(pty.slavePath(), never);
    properties.setInt(UartBaudRate, 0);
    expectFailure(properties, "Failed to initialize uart");
}

TEST_F(UartLink, PropertyThatIsNoNumberRaisesAndLeavesNothing) {
    for (const DeviceProperties bad : {UartBaudRate, UartResponseTimeout, UartOptions}) {
        HostLinkPhysicalLayer::Properties properties = propertiesOf(pty.slavePath(), never);
        properties.setString(bad, "fast");
        const long threads = threadCount();
        const long descriptors = descriptorCount();
        make(properties);
        EXPECT_THROW(link->init(), std::invalid_argument);
        EXPECT_FALSE(link->uartOk());
        EXPECT_EQ(threadCount(), threads);
        EXPECT_EQ(descriptorCount(), descriptors);
        keep();
    }
}

TEST_F(UartLink, DeviceMayAppearBetweenTwoInits) {
    const std::filesystem::path name = std::filesystem::temp_directory_path() /
                                       ("uart-link-" + pty.slavePath().substr(pty.slavePath().rfind('/') + 1));
    std::filesystem::remove(name);
    make(propertiesOf(name.string(), never));
    EXPECT_FALSE(link->init());
    std::filesystem::create_symlink(pty.slavePath(), name);
    EXPECT_TRUE(link->init());
    std::filesystem::remove(name);
    ASSERT_TRUE(pty.write(incoming));
    EXPECT_EQ(pty.read(8), responseFrame(0xA3, 0));
}

TEST_F(UartLink, ParityInAnyCaseOpens) {
    for (const char* parity : {"EVEN", "Odd", "none"}) {
        HostLinkPhysicalLayer::Properties properties = propertiesOf(pty.slavePath(), never);
        properties.setString(UartParity, parity);
        make(properties);
        ASSERT_TRUE(link->init()) << parity;
        link.reset();
    }
}

// --- Reading ---

TEST_F(LoggedUartLink, MessagePacketIsAcknowledgedAndDelivered) {
    start();
    ASSERT_TRUE(pty.write(incoming));
    EXPECT_EQ(pty.read(8), bytes("FF FE 08 00 A3 00 00 00"));
    ASSERT_TRUE(inbox.waitFor(1));
    EXPECT_THAT(inbox.all(), ElementsAre(incoming));
    EXPECT_TRUE(log.contains(log4cplus::TRACE_LOG_LEVEL, "Received message, emitting data rec signal"));
    EXPECT_TRUE(log.contains(log4cplus::TRACE_LOG_LEVEL, "Send Ack packet: type 2"));
}

TEST_F(UartLink, AcknowledgementArrivesWhileTheObserverStillRuns) {
    make(propertiesOf(pty.slavePath(), never));
    std::promise<void> acknowledged;
    std::atomic<bool> inTime{false};
    link->addDataReceivedObserver(
        [&](const ByteArray&) { inTime = acknowledged.get_future().wait_for(patience) == std::future_status::ready; });
    ASSERT_TRUE(link->init());
    ASSERT_TRUE(pty.write(incoming));
    EXPECT_EQ(pty.read(8), responseFrame(0xA3, 0));
    acknowledged.set_value();
    link.reset();
    EXPECT_TRUE(inTime);
}

TEST_F(UartLink, BytesOneByOneMakeTheSamePackets) {
    start();
    const ByteArray second = messageEnd(8, 0, patternBytes(100));
    for (const unsigned char byte : incoming + second) ASSERT_TRUE(pty.write(Pty::Bytes{byte}));
    ASSERT_TRUE(inbox.waitFor(2));
    EXPECT_THAT(inbox.all(), ElementsAre(incoming, second));
    EXPECT_EQ(pty.read(16), responseFrame(0xA3, 0) + responseFrame(0xA3, 1));
}

TEST_F(UartLink, LongestPacketComesThrough) {
    start();
    const ByteArray longest = messageEnd(8, 0, patternBytes(65525));
    ASSERT_TRUE(pty.write(longest));
    ASSERT_TRUE(inbox.waitFor(1));
    EXPECT_EQ(inbox.all()[0], longest);
}

TEST_F(LoggedUartLink, GarbageBeforeAPacketIsRemoved) {
    start();
    ASSERT_TRUE(pty.write(bytes("01 02 03") + incoming));
    ASSERT_TRUE(inbox.waitFor(1));
    EXPECT_TRUE(log.contains(log4cplus::WARN_LOG_LEVEL, "Removing 3bytes from start after SOP found"));
}

TEST_F(LoggedUartLink, StreamWithoutStartIsDropped) {
    start();
    ASSERT_TRUE(pty.write(ByteArray(8, 0x55)));
    ASSERT_TRUE(log.waitFor("Received data without packet start"));
    EXPECT_TRUE(log.contains(log4cplus::WARN_LOG_LEVEL, "Received data without packet start"));
    ASSERT_TRUE(pty.write(incoming));
    ASSERT_TRUE(inbox.waitFor(1));
    EXPECT_EQ(pty.read(8), responseFrame(0xA3, 0));
}

TEST_F(LoggedUartLink, InvalidPacketIsRefused) {
    start();
    ASSERT_TRUE(pty.write(bytes("FF FE 09 00 23 07 00 00 00")));
    EXPECT_EQ(pty.read(8), responseFrame(0x63, 0));
    EXPECT_TRUE(log.contains(log4cplus::WARN_LOG_LEVEL, "Error  10 reading packet"));
    EXPECT_TRUE(log.contains(log4cplus::ERROR_LOG_LEVEL, "Invalid message received"));
    ASSERT_TRUE(pty.write(ByteArray(7, 0) + incoming));
    ASSERT_TRUE(inbox.waitFor(1));
    EXPECT_THAT(inbox.all(), ElementsAre(incoming));
}

TEST_F(LoggedUartLink, LengthZeroGetsOneNackAndTheNextPacketComesThrough) {
    start();
    ASSERT_TRUE(pty.write(bytes("FF FE 00 00 23 07 00 00") + incoming));
    EXPECT_EQ(pty.read(16), responseFrame(0x63, 0) + responseFrame(0xA3, 1));
    ASSERT_TRUE(inbox.waitFor(1));
    EXPECT_EQ(log.count("Invalid message received"), 1u);
}

TEST_F(LoggedUartLink, ResetFrameIsUnsupported) {
    start();
    ASSERT_TRUE(pty.write(bytes("FF FE 08 00 21 07 00 00")));
    EXPECT_EQ(pty.read(8), responseFrame(0x63, 0));
    EXPECT_THAT(errorsOf(log), ElementsAre("Unsupported incoming message: 1"));
}

// --- Writing ---

TEST_F(UartLink, EachResponseDecidesTheResult) {
    start();
    const std::vector<std::pair<unsigned, WriteDataResponse>> responses = {
        {0xA3, Accepted}, {0x63, Rejected}, {0xE3, Error}, {0x23, NoResponse}};
    for (const auto& [flags, expected] : responses) {
        std::future<WriteDataResponse> result = writeFromAnotherThread(incoming);
        answer(incoming, responseFrame(flags, 0));
        ASSERT_EQ(result.wait_for(patience), std::future_status::ready);
        EXPECT_EQ(result.get(), expected);
    }
}

TEST_F(LoggedUartLink, NoAcknowledgementInTimeIsNoResponse) {
    start(shortly);
    EXPECT_EQ(link->writeData(incoming), NoResponse);
    EXPECT_THAT(errorsOf(log), ElementsAre("Empty response from host", "Error uart bus master recv (ack)"));
    EXPECT_EQ(pty.read(15), incoming);
}

TEST_F(UartLink, EmptyPacketIsAcceptedAndNotWritten) {
    start();
    EXPECT_EQ(link->writeData({}), Accepted);
    link.reset();
    EXPECT_THAT(pty.read(1), IsEmpty()); // until the slave is closed
}

TEST_F(LoggedUartLink, StaleResponseAnswersAPacketThatGetsNone) {
    start(shortly);
    ASSERT_TRUE(pty.write(responseFrame(0xE3, 1)));
    // The message behind it is acknowledged once the response has been dealt with.
    ASSERT_TRUE(pty.write(incoming));
    EXPECT_EQ(pty.read(8), responseFrame(0xA3, 0));
    EXPECT_EQ(link->writeData(incoming), Error);
    EXPECT_EQ(link->writeData(incoming), NoResponse);
}

TEST_F(LoggedUartLink, WriteToALineThatIsGoneFails) {
    start();
    pty.close();
    ASSERT_TRUE(log.waitFor("Leave "));
    EXPECT_EQ(link->writeData(incoming), NoResponse);
    EXPECT_THAT(errorsOf(log), ElementsAre("Uart write failed", "Error uart bus master recv (ack)"));
    log.clear();
    EXPECT_FALSE(link->sendAckPacket(AcknowledgeType::Ack));
    EXPECT_THAT(errorsOf(log), ElementsAre("uart write failed"));
}

TEST_F(LoggedUartLink, HangUpWakesAWaitingWriterAtOnce) {
    start();
    std::future<WriteDataResponse> result = writeFromAnotherThread(incoming);
    ASSERT_EQ(pty.read(15), incoming);
    pty.close();
    ASSERT_EQ(result.wait_for(patience), std::future_status::ready);
    EXPECT_EQ(result.get(), NoResponse);
    EXPECT_TRUE(log.contains(log4cplus::INFO_LOG_LEVEL, "Stopping reading thread"));
    EXPECT_THAT(errorsOf(log), ElementsAre("Empty response from host", "Error uart bus master recv (ack)"));
}

TEST_F(LoggedUartLink, ShutdownLeavesTheReaderRunning) {
    start();
    link->shutdown();
    ASSERT_TRUE(pty.write(incoming));
    EXPECT_EQ(pty.read(8), responseFrame(0xA3, 0));
    EXPECT_FALSE(log.contains("Stopping reading thread"));
    link.reset();
    EXPECT_TRUE(log.contains(log4cplus::INFO_LOG_LEVEL, "Stopping reading thread"));
}

// --- Anything on the line ---

// Reads the acknowledgements away, so that the link can go on writing them.
class Drain {
public:
    explicit Drain(Pty& of)
        : thread([this, &of] {
              while (!stop) {
                  if (of.waitReadable(milliseconds(100))) of.readAvailable();
              }
          }) {}
    ~Drain() {
        stop = true;
        thread.join();
    }

private:
    std::atomic<bool> stop{false};
    std::thread thread;
};

TEST_F(UartLink, GoodPacketComesThroughAfterRandomBytes) {
    std::mt19937 generator = seededGenerator();
    start();
    const Drain drain(pty);
    ASSERT_TRUE(pty.write(randomBytes(generator, 1 << 20), seconds(90)));

    // The last random start mark may declare up to 65535 bytes, which swallow what follows.
    const auto delivered = [this] {
        const std::vector<ByteArray> packets = inbox.all();
        return std::find(packets.begin(), packets.end(), incoming) != packets.end();
    };
    ByteArray hundred;
    for (int i = 0; i < 100; ++i) hundred = hundred + incoming;
    for (size_t sent = 0; sent <= 65535 + hundred.size(); sent += hundred.size()) ASSERT_TRUE(pty.write(hundred));
    const auto deadline = steady_clock::now() + patience;
    while (!delivered() && steady_clock::now() < deadline) inbox.waitFor(inbox.all().size() + 1);
    EXPECT_TRUE(delivered());
}

// --- Ends ---

class UartLinkEnd : public UartLink {
protected:
    static constexpr int rounds = 100;

    void SetUp() override {
        threads = threadCount();
        descriptors = descriptorCount();
    }
    void TearDown() override {
        link.reset();
        EXPECT_TRUE(waitForThreadCount(threads));
        EXPECT_EQ(descriptorCount(), descriptors);
    }

    long threads = 0;
    long descriptors = 0;
};

TEST_F(UartLinkEnd, RightAfterTheStart) {
    for (int round = 0; round < rounds; ++round) {
        start();
        link.reset();
    }
}

TEST_F(UartLinkEnd, WhileTheReaderIsOnItsWayToTheNextRead) {
    for (int round = 0; round < rounds; ++round) {
        start();
        ASSERT_TRUE(pty.write(incoming));
        ASSERT_EQ(pty.read(8), responseFrame(0xA3, 0));
        link.reset();
    }
}

TEST_F(UartLinkEnd, InTheMiddleOfAPacket) {
    for (int round = 0; round < rounds; ++round) {
        start();
        ASSERT_TRUE(pty.write(slice(incoming, 0, 12)));
        link.reset();
    }
}

TEST_F(UartLinkEnd, WhileAnObserverRuns) {
    for (int round = 0; round < rounds; ++round) {
        make(propertiesOf(pty.slavePath(), never));
        std::promise<void> release;
        link->addDataReceivedObserver([&](const ByteArray&) { release.get_future().wait_for(patience); });
        ASSERT_TRUE(link->init());
        ASSERT_TRUE(pty.write(incoming));
        ASSERT_EQ(pty.read(8), responseFrame(0xA3, 0));
        std::future<void> gone = std::async(std::launch::async, [this] { link.reset(); });
        ASSERT_TRUE(pty.waitHungUp()); // the port is closed; the reader is still in its observer
        release.set_value();
        ASSERT_EQ(gone.wait_for(patience), std::future_status::ready);
        gone.get();
    }
}

TEST_F(UartLinkEnd, WhileAWriterWaitsForItsResponse) {
    for (int round = 0; round < rounds; ++round) {
        start();
        std::future<WriteDataResponse> result = writeFromAnotherThread(incoming);
        ASSERT_EQ(pty.read(15), incoming);
        link.reset();
        ASSERT_EQ(result.wait_for(patience), std::future_status::ready);
        EXPECT_EQ(result.get(), NoResponse);
    }
}

TEST_F(UartLinkEnd, WhileInputFloodsIn) {
    std::optional<Drain> drain(std::in_place, pty);
    std::atomic<bool> stop{false};
    std::thread flood([&] {
        while (!stop) pty.write(incoming + incoming + incoming, milliseconds(100));
    });
    for (int round = 0; round < rounds; ++round) {
        start();
        link.reset();
    }
    stop = true;
    flood.join();
    drain.reset();
}

TEST_F(UartLinkEnd, AfterTheLineHasGone) {
    for (int round = 0; round < rounds; ++round) {
        Pty going;
        make(propertiesOf(going.slavePath(), never));
        ASSERT_TRUE(link->init());
        going.close();
        link.reset();
    }
}

TEST_F(UartLinkEnd, TransportFirstWhileTheReaderDelivers) {
    for (int round = 0; round < rounds; ++round) {
        make(propertiesOf(pty.slavePath(), never));
        auto transport = std::make_unique<HostLinkTransportLayer>(link.get());
        auto message = std::make_unique<ByteArray>();
        transport->addMessageReceivedObserver([kept = message.get()](ByteArray bytes) { *kept = std::move(bytes); });
        transport->initTransportLayer();
        ASSERT_TRUE(pty.write(incoming + incoming + incoming + incoming));
        ASSERT_EQ(pty.read(8), responseFrame(0xA3, 0));
        transport.reset();
        message.reset(); // an observer that still ran would touch what is gone
        link.reset();
        pty.readAvailable();
    }
}

// --- What ends the process, on purpose ---

class UartLinkDeathTest : public UartLink {
protected:
    // Other threads live here: the statement runs in a process of its own that starts over.
    void SetUp() override { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(UartLinkDeathTest, SecondInit) {
    EXPECT_EXIT(
        {
            start();
            link->init();
        },
        testing::KilledBySignal(SIGABRT), "terminate called");
}

TEST_F(UartLinkDeathTest, DestructionWithoutInit) {
    EXPECT_EXIT(
        {
            make(propertiesOf(pty.slavePath(), never));
            link.reset();
        },
        testing::KilledBySignal(SIGABRT), "terminate called");
}

// --- A conversation ---

TEST_F(UartLink, TransportSendsAndReceivesOverTheLine) {
    make(propertiesOf(pty.slavePath(), never));
    HostLinkTransportLayer transport(link.get());
    Inbox messages;
    transport.addMessageReceivedObserver([&](ByteArray message) { messages.put(std::move(message)); });
    transport.initTransportLayer();
    const ByteArray message = patternBytes(100);

    std::future<bool> sent = std::async(std::launch::async, [&] { return transport.writeMessage(message); });
    const ByteArray first = messagePart(0, 0, slice(message, 0, 54));
    answer(first, responseFrame(0x63, 0));
    answer(first, responseFrame(0xA3, 0));
    answer(messageEnd(0, 1, slice(message, 54, 100)), responseFrame(0xA3, 0));
    ASSERT_EQ(sent.wait_for(patience), std::future_status::ready);
    EXPECT_TRUE(sent.get());

    ASSERT_TRUE(pty.write(messagePart(9, 0, bytes("0A 0B")) + messageEnd(9, 1, bytes("0C"))));
    EXPECT_EQ(pty.read(16), responseFrame(0xA3, 1) + responseFrame(0xA3, 2));
    ASSERT_TRUE(messages.waitFor(1));
    EXPECT_THAT(messages.all(), ElementsAre(bytes("0A 0B 0C")));
}

} // namespace
