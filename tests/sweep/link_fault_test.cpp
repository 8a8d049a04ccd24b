// What the links do when one certain system call fails, or their line reports something unusual.
#include <cerrno>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <hostlink/physicalLayers/I2cPhysicalLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "FaultTest.h"
#include "PlayedBoard.h"
#include "PlayedTerminal.h"
#include "support/Packets.h"
#include "support/ProcessCounts.h"
#include "support/ProcessWatch.h"
#include "support/Pty.h"

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

    std::promise<void> holding;
    std::future<void> hold; // set before the line is signalled

private:
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

TEST_F(BusLinkFault, SecondThreadThatCannotBeStartedEndsTheFirst) {
    const auto open = openDescriptors();
    const long threads = threadCount();
    failNext("pthread_create", EAGAIN, 2);
    EXPECT_FALSE(init());
    EXPECT_THAT(errors(), ElementsAre("Failed to start the serial device threads: Resource temporarily unavailable"));
    EXPECT_TRUE(log.contains(readLoopLeft)) << "the first was running";
    EXPECT_EQ(openDescriptors(), open);
    EXPECT_TRUE(waitForThreadCount(threads));
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

// Half a second for the queue is over before the first of two interrupts has been served.
TEST_F(BusLinkFault, InterruptsThatWereDroppedAtTheEndAreForgotten) {
    std::promise<void> inObserver;
    std::promise<void> release;
    auto released = release.get_future().share();
    link->addDataReceivedObserver([&, first = true](const ByteArray&) mutable {
        if (!std::exchange(first, false)) return;
        inObserver.set_value();
        released.wait();
    });
    start();
    kernel.queue(fromHost);
    kernel.signalLine();
    inObserver.get_future().wait();
    for (int i = 0; i < 2; ++i) {
        kernel.signalLine();
        ASSERT_TRUE(kernel.waitUntilServed());
    }
    std::thread stopping([this] { shutdown(); });
    ASSERT_TRUE(log.waitFor("stopping irq loop"));
    std::this_thread::sleep_for(std::chrono::milliseconds(600)); // the deadline is the clock's
    release.set_value();
    stopping.join();
    EXPECT_TRUE(log.contains(log4cplus::WARN_LOG_LEVEL, "Stopping with 2 interrupts not served"));

    start();
    expectServed();
    shutdown();
    EXPECT_EQ(kernel.written().size(), 2U);
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
    shutdown();
    EXPECT_THAT(errors(), ElementsAre("Failed to stop qpio thread: -1 5"));
    start();
    expectServed();
}

TEST_F(BusLinkFault, InterruptedSettingsOfTheLineAreMadeAgain) {
    for (const char* call : {"open", "write"}) {
        for (const size_t setting : {1, 2, 3}) {
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
