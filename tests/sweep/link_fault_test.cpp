// What the links do when one certain system call fails, or their line reports something unusual.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <hostlink/physicalLayers/I2cPhysicalLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "FaultTest.h"
#include "PlayedBoard.h"
#include "PlayedTerminal.h"
#include "support/Bytes.h"
#include "support/MustEnd.h"
#include "support/Packets.h"
#include "support/ProcessCounts.h"
#include "support/ProcessWatch.h"
#include "support/Pty.h"
#include "support/StaysAlive.h"

using namespace sweep;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr auto linkLogger = "HostLinkPhysicalLayer";
constexpr auto readLoopLeft = "Leave [HostLinkPhysicalLayer] void SyncSerialLayer::readLoop(): ";
constexpr auto exchangeLeft = "Leave [HostLinkPhysicalLayer] void SyncSerialLayer::readFromSlave(int): readSize: 64";
const ByteArray fromHost = messageEnd(7, 0, {0x15, 0x80, 0});

// A board whose watcher can be held while it reads the level.
class HoldingBoard : public PlayedBoard {
public:
    Answer read(int fd, void* buffer, std::size_t size) override {
        const Answer answer = PlayedBoard::read(fd, buffer, size);
        if (answer && size == levelBytes && hold.valid()) {
            holding.set_value();
            hold.wait();
            hold = {};
        }
        return answer;
    }

    std::optional<std::chrono::nanoseconds> now() override {
        const auto time = PlayedBoard::now();
        if (timeUntilHold > 0 && --timeUntilHold == 0) {
            timeHeld.set_value();
            timeHold.wait();
        }
        return time;
    }
    // The one who asks for the time as number `number` from now on gets it when `until` is ready, and gets it old.
    void holdTimeOnce(int number, std::future<void> until) {
        timeHold = std::move(until);
        timeUntilHold = number;
    }

    std::promise<void> holding;
    std::future<void> hold; // set before the line is signalled
    std::promise<void> timeHeld;

private:
    std::atomic<int> timeUntilHold{0};
    std::future<void> timeHold;                  // set before timeUntilHold
    static constexpr std::size_t levelBytes = 4; // what the watcher asks for; nobody else asks for so few
};

class BusLinkFault : public FaultTest<HoldingBoard> {
protected:
    BusLinkFault() : FaultTest(linkLogger) {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, PlayedBoard::i2cPath);
        properties.setInt(GpioNumber, PlayedBoard::gpio);
        properties.setInt(I2cSlaveAddress, 0x42);
        underTest([&] { link = std::make_unique<I2cPhysicalLayer>(properties); });
        log.clear();
    }
    ~BusLinkFault() override {
        underTest([this] { link.reset(); });
    }

    bool init() {
        return underTest([this] { return link->init(); });
    }
    void shutdown() {
        underTest([this] { link->shutdown(); });
    }
    void start() {
        ASSERT_TRUE(init());
        ASSERT_TRUE(kernel.waitUntilWatched());
        kernel.forgetWritten();
        log.clear();
    }

    // One interrupt leads to one exchange.
    void expectServed() {
        kernel.forgetWritten();
        log.clear();
        kernel.queue(fromHost);
        kernel.signalLine();
        ASSERT_TRUE(log.waitFor(exchangeLeft));
        EXPECT_EQ(kernel.written().size(), 2U) << "an IRQ frame and an acknowledgement";
    }

    std::unique_ptr<SyncSerialLayer> link;
};

// --- Threads ---

// What would hang for ever: each step of an end in a process of its own.
class BusLinkEndDeathTest : public BusLinkFault {
protected:
    void SetUp() override { startAlone(); }
};

TEST_F(BusLinkEndDeathTest, ShutdownEndsBothThreads) {
    EXPECT_STAYS_ALIVE({
        start();
        shutdown();
    });
}

TEST_F(BusLinkEndDeathTest, SecondInitLeavesTheThreadsOfTheFirst) {
    EXPECT_STAYS_ALIVE({
        start();
        init();
        shutdown();
    });
}

TEST_F(BusLinkEndDeathTest, DestructionEndsBothThreads) {
    EXPECT_STAYS_ALIVE({
        start();
        underTest([this] { link.reset(); });
    });
}

TEST_F(BusLinkEndDeathTest, InitThatCannotStartTheSecondThreadEndsTheFirst) {
    EXPECT_STAYS_ALIVE({
        failNext("pthread_create", EAGAIN, 2);
        init();
    });
}

TEST_F(BusLinkFault, SecondThreadThatCannotBeStartedEndsTheFirst) {
    const auto open = openDescriptors();
    const long threads = threadCount();
    failNext("pthread_create", EAGAIN, 2);
    EXPECT_FALSE(init());
    EXPECT_THAT(errors(), ElementsAre("Failed to start the serial device threads: Resource temporarily unavailable"));
    EXPECT_TRUE(log.contains(readLoopLeft)) << "the first was running";
    EXPECT_EQ(openDescriptors(), open);
    EXPECT_TRUE(waitUntilNoMoreThreadsThan(threads));
    shutdown();
    start();
    expectServed();
}

TEST_F(BusLinkFault, FirstThreadThatCannotBeStartedFailsInit) {
    const auto open = openDescriptors();
    failNext("pthread_create", EAGAIN, 1);
    EXPECT_FALSE(init());
    EXPECT_THAT(errors(), ElementsAre("Failed to start the serial device threads: Resource temporarily unavailable"));
    EXPECT_EQ(openDescriptors(), open);
    start();
    expectServed();
}

// --- The line ---

TEST_F(BusLinkFault, LineThatIsGoneEndsTheWatch) {
    for (const int gone : {POLLERR, POLLHUP, POLLNVAL, POLLERR | POLLHUP}) {
        start();
        kernel.signalLine(static_cast<short>(gone));
        ASSERT_TRUE(log.waitFor("Leave [HostLinkPhysicalLayer] void SyncSerialLayer::gpioIrqLoop(): "));
        EXPECT_THAT(errors(), ElementsAre("poll failed"));
        shutdown();
        EXPECT_THAT(kernel.written(), IsEmpty());
    }
    start();
    expectServed();
}

TEST_F(BusLinkFault, LowLevelWithoutAnUrgentReportIsNoInterrupt) {
    start();
    kernel.signalLine(POLLIN, '0');
    ASSERT_TRUE(kernel.waitUntilServed());
    shutdown(); // an interrupt that had been seen would be served before
    EXPECT_THAT(kernel.written(), IsEmpty());
}

TEST_F(BusLinkFault, UrgentReportWithAHighLevelIsNoInterrupt) {
    start();
    kernel.signalLine(POLLPRI | POLLERR, '1');
    ASSERT_TRUE(kernel.waitUntilServed());
    shutdown();
    EXPECT_THAT(kernel.written(), IsEmpty());
}

// While the first interrupt is being served and the watcher has read the level of a second one and not yet queued it,
// the link is told to stop.
TEST_F(BusLinkFault, InterruptBehindTheStopIsNotServedNorKept) {
    std::promise<void> inObserver;
    std::promise<void> served;
    auto mayReturn = served.get_future().share();
    link->addDataReceivedObserver([&, first = true](const ByteArray&) mutable {
        if (!std::exchange(first, false)) return;
        inObserver.set_value();
        mayReturn.wait();
    });
    start();
    kernel.queue(fromHost);
    kernel.signalLine();
    inObserver.get_future().wait();
    std::promise<void> release;
    kernel.hold = release.get_future();
    kernel.signalLine();
    kernel.holding.get_future().wait();
    CallLog::instance().begin();
    std::thread stopping([this] { shutdown(); });
    ASSERT_TRUE(CallLog::instance().waitFor("pthread_join", 1)); // the stop is queued
    release.set_value();
    ASSERT_TRUE(log.waitFor("Leave [HostLinkPhysicalLayer] void SyncSerialLayer::gpioIrqLoop(): "));
    served.set_value();
    stopping.join();
    EXPECT_EQ(log.count("IRQ GPIO falling edge (rdbuf = 0)"), 2U);
    EXPECT_EQ(kernel.written().size(), 2U) << "one exchange: an IRQ frame and an acknowledgement";

    start();
    expectServed(); // by one exchange, not two
    shutdown();
    EXPECT_EQ(kernel.written().size(), 2U);
}

// --- The queue at the end ---

// The first of some interrupts is being served when the link is told to stop; the others wait in the queue. The host
// has `messages` for the first exchanges, and nothing to say after them.
class BusLinkQueueAtTheEnd : public BusLinkFault {
protected:
    struct Plan {
        int queued;
        int messages;
        std::chrono::milliseconds perMessage;
    };

    void stopWith(const Plan& plan) {
        link->addDataReceivedObserver([&, left = plan.messages](const ByteArray&) mutable {
            if (left == plan.messages) {
                inObserver.set_value();
                released.get_future().wait();
            }
            kernel.passTime(plan.perMessage);
            if (--left > 0) kernel.queue(fromHost);
            if (left == 0) kernel.queue(afterTheMessages);
        });
        start();
        kernel.queue(fromHost);
        kernel.signalLine();
        inObserver.get_future().wait();
        for (int i = 0; i < plan.queued; ++i) {
            kernel.signalLine();
            ASSERT_TRUE(kernel.waitUntilServed());
        }
        CallLog::instance().begin();
        std::thread stopping([this] { shutdown(); });
        EXPECT_TRUE(CallLog::instance().waitFor("pthread_join", 1)); // the stop is queued
        released.set_value();
        stopping.join();
    }

    std::size_t exchanges() const {
        const auto written = kernel.written();
        return static_cast<std::size_t>(std::count_if(written.begin(), written.end(),
                                                      [](const ByteArray& bytes) { return bytes.size() == irqBytes; }));
    }
    std::vector<std::string> warnings() const { return log.texts(log4cplus::WARN_LOG_LEVEL); }

    static constexpr std::size_t irqBytes = 14;
    ByteArray afterTheMessages;
    std::promise<void> inObserver;
    std::promise<void> released;
};

TEST_F(BusLinkQueueAtTheEnd, IsServedWhole) {
    stopWith({20, 21, std::chrono::milliseconds(40)});
    EXPECT_EQ(exchanges(), 21U);
    EXPECT_THAT(warnings(), IsEmpty());
}

// 250, 500 and 750 ms after the stop; another one would end at a second.
TEST_F(BusLinkQueueAtTheEnd, IsLeftWhenAnotherExchangeWouldTakeTooLong) {
    stopWith({20, 21, std::chrono::milliseconds(250)});
    EXPECT_EQ(exchanges(), 3U);
    EXPECT_THAT(warnings(), ElementsAre("Stopping with 18 interrupts not served"));
}

TEST_F(BusLinkQueueAtTheEnd, IsLeftWhenTheExchangeInProgressHasTakenTooLong) {
    stopWith({2, 3, std::chrono::seconds(2)});
    EXPECT_EQ(exchanges(), 1U);
    EXPECT_THAT(warnings(), ElementsAre("Stopping with 2 interrupts not served"));
    log.clear();

    start(); // those two are forgotten
    shutdown();
    EXPECT_THAT(kernel.written(), IsEmpty());
}

TEST_F(BusLinkQueueAtTheEnd, IsLeftWhenTheHostDoesNotAnswer) {
    stopWith({5, 2, std::chrono::milliseconds(1)});
    EXPECT_EQ(exchanges(), 3U);
    EXPECT_THAT(log.texts(log4cplus::WARN_LOG_LEVEL),
                ElementsAre("Serial device read write failed", "Invalid message received",
                            "Stopping with 3 interrupts not served"));
}

TEST_F(BusLinkQueueAtTheEnd, IsLeftWhenAnExchangeHasNoEnd) {
    afterTheMessages = bytes("FF FE 0E 00 22 00 00 00 40 00 00 00 00 00"); // an announcement, to each IRQ frame
    stopWith({5, 1, std::chrono::milliseconds(1)});
    EXPECT_EQ(exchanges(), 65U);
    EXPECT_THAT(warnings(), ElementsAre("Exchange given up after 64 IRQ frames without a message",
                                        "Stopping with 4 interrupts not served"));
}

// A response frame is an answer, although it is not what the host was asked for.
TEST_F(BusLinkQueueAtTheEnd, IsServedWholeWhenTheHostHasNothingToSay) {
    afterTheMessages = responseFrame(0x23, 0);
    stopWith({5, 1, std::chrono::milliseconds(1)});
    EXPECT_EQ(exchanges(), 6U);
    EXPECT_EQ(log.count("Received ack type 0 to IRQ frame"), 5U);
    EXPECT_EQ(log.count("interrupts not served"), 0U);
}

// The exchange before failed, and took long; but it had ended when the link was told to stop.
TEST_F(BusLinkQueueAtTheEnd, IsServedWhateverBecameOfAnEarlierExchange) {
    start();
    std::promise<void> release;
    kernel.holdTimeOnce(2, release.get_future()); // the exchange begins, and has ended
    kernel.signalLine();
    kernel.timeHeld.get_future().wait();
    kernel.passTime(std::chrono::milliseconds(1));
    kernel.queue(fromHost);
    kernel.signalLine();
    ASSERT_TRUE(kernel.waitUntilServed());
    kernel.forgetWritten();
    CallLog::instance().begin();
    std::thread stopping([this] { shutdown(); });
    EXPECT_TRUE(CallLog::instance().waitFor("pthread_join", 1)); // the stop is queued
    release.set_value();
    stopping.join();
    EXPECT_EQ(kernel.written().size(), 2U) << "an IRQ frame and an acknowledgement";
    EXPECT_EQ(log.count("interrupts not served"), 0U);
}

// --- Stopping ---

TEST_F(BusLinkFault, StopEventThatIsInterruptedIsWrittenAgain) {
    start();
    failNext("write", EINTR);
    shutdown();
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_EQ(calls("write"), 2U);
}

TEST_F(BusLinkFault, StopEventThatIsNotTakenIsReplacedByThePipe) {
    start();
    failNext("write", EIO);
    const std::future<void> stopped = std::async(std::launch::async, [this] { shutdown(); });
    mustEnd(stopped, "shutdown");
    EXPECT_THAT(errors(), ElementsAre("Failed to stop qpio thread: -1 5"));
    start();
    expectServed();
}

TEST_F(BusLinkFault, InterruptedSettingsOfTheLineAreMadeAgain) {
    for (const char* call : {"open", "write"}) {
        for (const size_t setting : {1U, 2U, 3U}) {
            SCOPED_TRACE(std::string(call) + " " + std::to_string(setting));
            failNext(call, EINTR, setting);
            ASSERT_TRUE(init());
            shutdown();
            EXPECT_EQ(kernel.content("export"), "17");
            EXPECT_EQ(kernel.content("direction"), "in");
            EXPECT_EQ(kernel.content("edge"), "falling");
        }
    }
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(BusLinkFault, PipeThatCannotBeMadeFailsInit) {
    failNext("pipe2", ENFILE);
    EXPECT_FALSE(init());
    EXPECT_THAT(errors(), ElementsAre("Failed to create pipe: Too many open files in system"));
}

// --- UART ---

class UartLinkFault : public FaultTest<PlayedTerminal> {
protected:
    UartLinkFault() : FaultTest(linkLogger) {}
    Pty pty;
};

TEST_F(UartLinkFault, ThreadThatCannotBeStartedClosesThePort) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, pty.slavePath());
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, 60000);
    UartPhysicalLayer link(properties);
    const auto open = openDescriptors();
    failNext("pthread_create", EAGAIN);
    EXPECT_FALSE(underTest([&] { return link.init(); }));
    EXPECT_THAT(errors(), ElementsAre("Failed to start the uart read thread: Resource temporarily unavailable"));
    EXPECT_FALSE(link.uartOk());
    EXPECT_EQ(openDescriptors(), open);
    ASSERT_TRUE(underTest([&] { return link.init(); }));
    EXPECT_TRUE(link.uartOk());
    EXPECT_TRUE(link.sendAckPacket(AcknowledgeType::Ack));
    EXPECT_EQ(pty.read(8), responseFrame(0xA3, 0));
}

} // namespace
