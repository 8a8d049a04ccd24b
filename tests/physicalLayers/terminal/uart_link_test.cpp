// The UART link over a pseudo terminal: what the kernel and the project's serial library decide. Step by step it is
// shown over a scripted serial library, its ends in tests/endings.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/MaskCapture.h"
#include "support/NeverDestroyed.h"
#include "support/Packets.h"
#include "support/ProcessCounts.h"
#include "support/Pty.h"
#include "support/TestSeed.h"
#include "support/TraceLine.h"

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

namespace {

constexpr auto linkLogger = "HostLinkPhysicalLayer";

// A response timeout that a test never waits for: where it would be waited for, the test fails.
constexpr int never = 120000;
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
        EXPECT_TRUE(waitUntilNoMoreThreadsThan(threads));
        EXPECT_EQ(descriptorCount(), descriptors);
        EXPECT_EQ(link->writeData(incoming), NoResponse);
        keep();
    }
};

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

TEST_F(UartLink, DeviceMayAppearBetweenTwoInits) {
    std::string folder = (std::filesystem::temp_directory_path() / "uart-link-XXXXXX").string();
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    const std::filesystem::path name = std::filesystem::path(folder) / "port";
    make(propertiesOf(name.string(), never));
    EXPECT_FALSE(link->init());
    std::filesystem::create_symlink(pty.slavePath(), name);
    EXPECT_TRUE(link->init());
    std::filesystem::remove_all(folder);
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

TEST_F(UartLink, LongestPacketComesThrough) {
    start();
    const ByteArray longest = messageEnd(8, 0, patternBytes(65525));
    ASSERT_TRUE(pty.write(longest));
    ASSERT_TRUE(inbox.waitFor(1));
    EXPECT_EQ(inbox.all()[0], longest);
}

// --- Writing ---

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

// --- Signals ---

TEST_F(LoggedUartLink, ThreadOfTheLinkTakesNoSignalMeantForTheProgram) {
    const MaskCapture masks(linkLogger);
    start();
    ASSERT_TRUE(log.waitFor("Started read thread"));
    link.reset();
    EXPECT_EQ(masks.faultOf("Started read thread"), "");
    EXPECT_EQ(masks.faultOf("Stopping reading thread"), "");
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
