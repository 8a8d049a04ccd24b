// Links and transport while memory runs out: what was begun is undone, no lock stays taken, and the next packet passes.
#include <atomic>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/physicalLayers/I2cPhysicalLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>
#include <serialcomm/Uart.h>

#include "AllocationSweep.h"
#include "CallLog.h"
#include "PlayedBoard.h"
#include "PlayedTerminal.h"
#include "support/MustEnd.h"
#include "support/Packets.h"
#include "support/ProcessCounts.h"
#include "support/ProcessWatch.h"
#include "support/Pty.h"
#include "support/Signal.h"
#include "support/StaysAlive.h"

using namespace sweep;

namespace {

using Properties = HostLinkPhysicalLayer::Properties;

const ByteArray toHost = messageEnd(1, 0, {1, 2, 3});
const ByteArray fromHost = messageEnd(7, 0, {0x15, 0x80, 0});
const ByteArray longMessage = patternBytes(150); // three packets

// Every line is formatted and goes nowhere.
class EveryLineLogged {
public:
    EveryLineLogged() : appender(new log4cplus::NullAppender) {
        for (log4cplus::Logger& logger : loggers) {
            logger.addAppender(appender);
            logger.setAdditivity(false);
            logger.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
        }
    }
    ~EveryLineLogged() {
        for (log4cplus::Logger& logger : loggers) {
            logger.removeAppender(appender);
            logger.setLogLevel(log4cplus::NOT_SET_LOG_LEVEL);
            logger.setAdditivity(true);
        }
    }
    EveryLineLogged(const EveryLineLogged&) = delete;
    EveryLineLogged& operator=(const EveryLineLogged&) = delete;

private:
    std::vector<log4cplus::Logger> loggers = {log4cplus::Logger::getInstance("HostLinkPhysicalLayer"),
                                              log4cplus::Logger::getInstance("HostLinkTransportLayer")};
    log4cplus::SharedAppenderPtr appender;
};

// `init` with each of its allocations failing in turn, until it has all it needs: what failed leaves nothing behind.
template <typename Check> void expectStartsLater(HostLinkPhysicalLayer& link, Check checkFailed) {
    const auto descriptors = openDescriptors();
    const long threads = threadCount();
    const EveryLineLogged logged;
    sweepAllocations(
        [&link] {
            const UnderTest now;
            EXPECT_TRUE(link.init());
        },
        [&](const Outcome& outcome) {
            if (outcome.completed) return;
            checkFailed();
            ASSERT_EQ(openDescriptors(), descriptors);
            ASSERT_TRUE(waitUntilNoMoreThreadsThan(threads));
        });
}

// --- Transport ---

// Accepts everything and allocates nothing.
class AcceptingLink : public HostLinkPhysicalLayer {
public:
    AcceptingLink() : HostLinkPhysicalLayer(Properties()) {}
    bool init() override { return true; }
    void shutdown() override {}
    int nextFrameId() override { return 3; }
    WriteDataResponse writeData(const ByteArray& /*packet*/) override {
        ++written;
        return Accepted;
    }
    int written = 0;
};

class TransportWithoutMemory : public testing::Test {
protected:
    TransportWithoutMemory() {
        transport.addMessageReceivedObserver(
            [this](const ByteArray& message) { received = received || message == sent; });
    }

    // From another thread, which a lock that stays taken would hold.
    void expectTraffic(unsigned frameId) {
        std::async(std::launch::async, [&] {
            received = false;
            link.written = 0;
            deliver(frameId);
            EXPECT_TRUE(received);
            EXPECT_TRUE(transport.writeMessage(sent));
            EXPECT_EQ(link.written, 3);
        }).get();
    }
    void deliver(unsigned frameId) {
        link.notifyObservers(messagePart(frameId, 0, slice(sent, 0, 54)));
        link.notifyObservers(messagePart(frameId, 1, slice(sent, 54, 108)));
        link.notifyObservers(messageEnd(frameId, 2, slice(sent, 108, 150)));
    }

    const ByteArray sent = longMessage;
    AcceptingLink link;
    HostLinkTransportLayer transport{&link};
    bool received = false;
};

TEST_F(TransportWithoutMemory, SendsTheNextMessage) {
    sweepAllocations([this] { transport.writeMessage(sent); },
                     [this](const Outcome& outcome) {
                         EXPECT_EQ(outcome.live, 0);
                         expectTraffic(1);
                     });
}

TEST_F(TransportWithoutMemory, ReceivesTheNextMessage) {
    unsigned frameId = 0; // a frame that lost a packet keeps its id until it ends
    sweepAllocations([&] { deliver(frameId); },
                     [&](const Outcome& outcome) {
                         EXPECT_EQ(outcome.completed, received);
                         expectTraffic(++frameId);
                         received = false;
                         ++frameId;
                     });
}

// A packet that could not be added is not half there.
TEST_F(TransportWithoutMemory, TakesThePacketThatItCouldNotAdd) {
    received = false;
    const auto packetsOf = [this](unsigned frameId) {
        return std::vector<ByteArray>{messagePart(frameId, 0, slice(sent, 0, 5)),
                                      messagePart(frameId, 1, slice(sent, 5, 149)),
                                      messageEnd(frameId, 2, slice(sent, 149, 150))};
    };
    for (std::size_t failing = 0; failing < 2; ++failing) {
        std::vector<ByteArray> packets = packetsOf(0);
        const auto deliverUpTo = [&](std::size_t end) {
            for (std::size_t i = 0; i < end; ++i) transport.on_data_received(packets[i]);
        };
        deliverUpTo(failing);
        sweepAllocations([&] { transport.on_data_received(packets[failing]); },
                         [&, frameId = 0U](const Outcome& outcome) mutable {
                             if (!outcome.completed) transport.on_data_received(packets[failing]);
                             for (std::size_t i = failing + 1; i < 3; ++i) transport.on_data_received(packets[i]);
                             EXPECT_TRUE(received);
                             received = false;
                             packets = packetsOf(++frameId);
                             deliverUpTo(failing);
                         });
        transport.on_data_received(packets[failing]); // so that no frame is left open
        for (std::size_t i = failing + 1; i < 3; ++i) transport.on_data_received(packets[i]);
    }
}

TEST_F(TransportWithoutMemory, DoesTheSameWithEveryLineLogged) {
    const EveryLineLogged logged;
    unsigned frameId = 0;
    sweepAllocations(
        [&] {
            transport.writeMessage(sent);
            deliver(frameId);
        },
        [&](const Outcome&) {
            expectTraffic(++frameId);
            ++frameId;
        });
}

// One deliverer held in the middle of a frame: the other waits for it.
TEST_F(TransportWithoutMemory, FillsOneFrameAtATime) {
    Signal inFrame;
    Signal mayGoOn;
    const ByteArray packet = messagePart(1, 0, slice(sent, 0, 54));
    std::thread first([&] {
        withinNextAllocation([&] {
            inFrame.raise();
            mayGoOn.wait(std::chrono::seconds(20));
        });
        transport.on_data_received(packet);
    });
    ASSERT_TRUE(inFrame.wait(std::chrono::seconds(20)));
    std::promise<pid_t> second;
    const std::future<void> delivered = std::async(std::launch::async, [&] {
        second.set_value(currentThread());
        transport.on_data_received(messagePart(2, 0, slice(sent, 0, 54)));
    });
    const pid_t thread = second.get_future().get();
    const auto isThrough = [&] { return delivered.wait_for(std::chrono::seconds(0)) == std::future_status::ready; };
    mustBecomeTrue([&] { return isThrough() || sleepsOnFutex(thread); }, "the second deliverer waits or is through");
    EXPECT_FALSE(isThrough());
    mayGoOn.raise();
    mustEnd(delivered, "the second delivery");
    first.join();
}

TEST(WholeTransportWithoutMemory, LeavesNoMemoryBehind) {
    AcceptingLink warm; // the loggers' own memory is made at first use
    HostLinkTransportLayer(&warm).writeMessage(longMessage);
    const ByteArray first = messagePart(1, 0, slice(longMessage, 0, 54));
    const ByteArray other = messageEnd(2, 0, longMessage);
    sweepAllocations(
        [&] {
            AcceptingLink link;
            HostLinkTransportLayer transport(&link);
            transport.addMessageReceivedObserver([](const ByteArray&) {});
            transport.initTransportLayer();
            transport.writeMessage(longMessage);
            link.notifyObservers(first); // stays incomplete
            link.notifyObservers(other);
            transport.shutdown();
        },
        [](const Outcome& outcome) { EXPECT_EQ(outcome.live, 0); });
}

// --- The factory ---

Properties allProperties(const std::string& path) {
    Properties properties;
    properties.setString(DevicePath, path);
    properties.setInt(GpioNumber, PlayedBoard::gpio);
    properties.setInt(I2cSlaveAddress, 0x42);
    properties.setInt(SpiSpeed, 1000000);
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, 60000);
    properties.setInt(MaxPacketSize, 64);
    return properties;
}

class FactoryWithoutMemory : public testing::TestWithParam<const char*> {};

TEST_P(FactoryWithoutMemory, MakesTheLinkOrLeavesNothing) {
    const Properties properties = allProperties("/dev/no-such-device-for-the-hostlink");
    delete HostLinkPhysicalLayer::create("dummy", properties);
    static auto& kept = *new std::vector<HostLinkPhysicalLayer*>; // links that were never started must not be destroyed
    const auto descriptors = openDescriptors();
    HostLinkPhysicalLayer* link = nullptr;
    sweepAllocations([&] { link = HostLinkPhysicalLayer::create(GetParam(), properties); },
                     [&](const Outcome& outcome) {
                         EXPECT_EQ(link != nullptr, outcome.completed);
                         EXPECT_TRUE(outcome.completed || outcome.live == 0);
                         EXPECT_EQ(openDescriptors(), descriptors);
                         if (link != nullptr) kept.push_back(link);
                         link = nullptr;
                     });
}

INSTANTIATE_TEST_SUITE_P(Links, FactoryWithoutMemory, testing::Values("dummy", "i2c", "spi", "uart"),
                         [](const auto& name) { return name.param; });

// --- UART ---

TEST(UartWithoutMemory, OpensAndEndsWithoutALeak) {
    Pty pty;
    const auto descriptors = openDescriptors();
    sweepAllocations(
        [&] {
            Uart uart(pty.slavePath(), 115200, 0, "none", true);
            uart.init();
            uart.write(toHost);
        },
        [&](const Outcome& outcome) {
            EXPECT_EQ(outcome.live, 0);
            EXPECT_EQ(openDescriptors(), descriptors);
        });
}

TEST(UartWithoutMemory, ReadsLaterWhatItCouldNotRead) {
    Pty pty;
    Uart uart(pty.slavePath(), 115200, 0, "none", true);
    ASSERT_TRUE(uart.init());
    pty.write(toHost);
    bool error = false;
    ByteArray got;
    sweepAllocations([&] { got = uart.read(64, &error); },
                     [&](const Outcome& outcome) {
                         if (!outcome.completed) got = uart.read(64, &error);
                         EXPECT_EQ(got, toHost);
                         EXPECT_FALSE(error);
                         pty.write(toHost);
                     });
}

// A UART link whose far side accepts every packet.
class UartLinkWithoutMemory : public testing::Test {
protected:
    UartLinkWithoutMemory() {
        playKernel(&line);
        link = std::make_unique<UartPhysicalLayer>(allProperties(pty.slavePath()));
        link->addDataReceivedObserver([this](const ByteArray&) { ++delivered; });
    }
    ~UartLinkWithoutMemory() override {
        link.reset();
        playKernel(nullptr);
    }

    void start() {
        const UnderTest now;
        ASSERT_TRUE(link->init());
    }
    bool send() {
        const UnderTest now;
        return link->writeData(toHost) == Accepted;
    }
    void take(const ByteArray& packet) {
        const UnderTest now;
        link->handleIncomingPacket(packet, true);
    }
    // From another thread, which a lock that stays taken would hold.
    void expectTraffic() {
        std::async(std::launch::async, [this] {
            const int before = delivered;
            take(fromHost);
            EXPECT_EQ(delivered, before + 1);
            EXPECT_TRUE(send());
        }).get();
    }

    class AcceptingLine : public PlayedTerminal {
    public:
        explicit AcceptingLine(Pty& farSide) : pty(farSide) {}
        Answer write(int /*fd*/, const void* /*data*/, std::size_t size) override {
            if (size > responseFrame(0, 0).size()) pty.write(responseFrame(0xA3, 0));
            return {};
        }

    private:
        Pty& pty;
    };

    Pty pty;
    AcceptingLine line{pty};
    std::unique_ptr<UartPhysicalLayer> link;
    std::atomic<int> delivered{0};
};

TEST_F(UartLinkWithoutMemory, StartsLater) {
    expectStartsLater(*link, [this] { EXPECT_FALSE(link->uartOk()); });
    expectTraffic();
}

// An attempt that has failed leaves no thread that the next one would meet.
using UartLinkWithoutMemoryDeathTest = UartLinkWithoutMemory;
TEST_F(UartLinkWithoutMemoryDeathTest, IsStartedAgainWhateverFailedBefore) {
    startAlone();
    EXPECT_STAYS_ALIVE(expectStartsLater(*link, [] {}));
    start(); // a link that was never started must not be destroyed
}

TEST_F(UartLinkWithoutMemory, SendsTheNextPacket) {
    start();
    const EveryLineLogged logged;
    sweepAllocations([this] { send(); }, [this](const Outcome&) { expectTraffic(); });
}

TEST_F(UartLinkWithoutMemory, AcknowledgesAndDeliversTheNextPacket) {
    start();
    sweepAllocations([this] { take(fromHost); }, [this](const Outcome&) { expectTraffic(); });
}

TEST_F(UartLinkWithoutMemory, TakesTheNextResponse) {
    start();
    const EveryLineLogged logged;
    sweepAllocations([this] { take(responseFrame(0xA3, 0)); }, [this](const Outcome&) { expectTraffic(); });
}

// --- Bus ---

class BusLinkWithoutMemory : public testing::Test {
protected:
    BusLinkWithoutMemory() {
        playKernel(&board);
        const UnderTest now;
        link = std::make_unique<I2cPhysicalLayer>(allProperties(PlayedBoard::i2cPath));
        link->addDataReceivedObserver([this](const ByteArray&) { ++delivered; });
    }
    ~BusLinkWithoutMemory() override {
        {
            const UnderTest now;
            link.reset();
        }
        playKernel(nullptr);
    }

    bool send() {
        const UnderTest now;
        return link->writeData(toHost) == Accepted;
    }
    void exchange() {
        const UnderTest now;
        link->readFromSlave(64);
    }
    void expectTraffic() {
        std::async(std::launch::async, [this] {
            const int before = delivered;
            board.queue(fromHost);
            exchange();
            EXPECT_EQ(delivered, before + 1);
            EXPECT_TRUE(send());
        }).get();
    }

    PlayedBoard board;
    std::unique_ptr<SyncSerialLayer> link;
    std::atomic<int> delivered{0};
};

TEST_F(BusLinkWithoutMemory, StartsLater) {
    expectStartsLater(*link, [] {});
    expectTraffic();
}

TEST_F(BusLinkWithoutMemory, SendsTheNextPacket) {
    sweepAllocations([this] { send(); }, [this](const Outcome&) { expectTraffic(); });
}

TEST_F(BusLinkWithoutMemory, ServesTheNextInterrupt) {
    board.queue(fromHost);
    sweepAllocations([this] { exchange(); },
                     [this](const Outcome&) {
                         expectTraffic();
                         board.queue(fromHost);
                     });
}

TEST_F(BusLinkWithoutMemory, DoesTheSameWithEveryLineLogged) {
    const EveryLineLogged logged;
    sweepAllocations(
        [this] {
            exchange();
            send();
        },
        [this](const Outcome&) {
            expectTraffic();
            board.queue(fromHost);
        });
}

// The end of a link needs no memory, nor does an interrupt.
TEST_F(BusLinkWithoutMemory, Ends) {
    {
        const UnderTest now;
        ASSERT_TRUE(link->init());
    }
    const Allocations none(1);
    {
        const UnderTest now;
        link->shutdown();
    }
    EXPECT_EQ(none.count(), 0U);
}

// --- A link's own thread ---

// Nobody could be told there, so it ends the process: as with an observer that throws.
TEST(ReaderWithoutMemoryDeathTest, EndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            Pty pty;
            UartPhysicalLayer link(allProperties(pty.slavePath()));
            link.addDataReceivedObserver([](const ByteArray&) { new Allocations(1); }); // from now on, on this thread
            link.init();
            pty.write(fromHost);
            pty.write(fromHost);
            std::this_thread::sleep_for(std::chrono::seconds(60));
        },
        testing::KilledBySignal(SIGABRT), "bad_alloc");
}

} // namespace
