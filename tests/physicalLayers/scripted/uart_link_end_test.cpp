// The UART link's ends and races, above a serial library whose port tells exactly where each thread is.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/physicalLayers/SharedUart.h>

#include "ScriptedUartLink.h"
#include "support/LinkThreads.h"
#include "support/MustEnd.h"
#include "support/ProcessCounts.h"
#include "support/ProcessWatch.h"
#include "support/Signal.h"

using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

constexpr int rounds = 100;

// Far more than any end takes, far less than the response timeout `never`.
constexpr seconds patience{20};

// Ends the program where it is not: what does not end still uses the test.
template <typename Result> bool isReady(std::future<Result>& result) {
    mustEnd(result, "a call");
    return true;
}

class ScriptedUartEnd : public ScriptedUartLink {
protected:
    void SetUp() override {
        threadsBefore = threadCount();
        // A hundred rounds need no record.
        log4cplus::Logger::getInstance(linkLogger).setLogLevel(log4cplus::INFO_LOG_LEVEL);
    }
    void TearDown() override {
        end();
        EXPECT_TRUE(waitUntilNoMoreThreadsThan(threadsBefore));
    }

    void end() {
        const std::future<void> gone = std::async(std::launch::async, [this] { link.reset(); });
        mustEnd(gone, "destroying the link");
    }

    std::future<WriteDataResponse> writeFromAnotherThread() {
        return std::async(std::launch::async,
                          [target = link.get()] { return target->writeData(messageEnd(1, 0, {1})); });
    }

    long threadsBefore = 0;
};

// --- The link goes ---

TEST_F(ScriptedUartEnd, WhileTheReaderIsAboutToEnterTheFirstRead) {
    for (int round = 0; round < rounds; ++round) {
        make(propertiesOf(never));
        ASSERT_TRUE(link->init());
        end();
        ASSERT_EQ(port.destructions(), round + 1);
    }
}

TEST_F(ScriptedUartEnd, WhileTheReaderIsAboutToEnterTheNextRead) {
    for (int round = 0; round < rounds; ++round) {
        start();
        port.supply(incoming);
        end(); // wherever the reader is meanwhile
    }
}

TEST_F(ScriptedUartEnd, WhileTheReaderIsBlocked) {
    for (int round = 0; round < rounds; ++round) {
        start();
        end();
    }
    EXPECT_EQ(port.destructions(), rounds);
}

// The port is asked to go while the reader sleeps inside, which is no reason to wait. One prompt end shows it; a
// machine that is busy may delay some.
TEST_F(ScriptedUartEnd, ReaderInsideThePortIsNotGivenTheHalfSecondOfAWriter) {
    auto fastest = SharedUart::entryLimit * 1000;
    for (int round = 0; round < 20 && fastest >= SharedUart::entryLimit; ++round) {
        start();
        const auto begin = steady_clock::now();
        end();
        fastest = std::min(fastest, std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - begin));
    }
    EXPECT_LT(fastest, SharedUart::entryLimit);
}

TEST_F(ScriptedUartEnd, WhileTheReaderIsInsideAPacket) {
    for (int round = 0; round < rounds; ++round) {
        start();
        supply(slice(incoming, 0, 12));
        end();
    }
    EXPECT_THAT(deliveredPackets(), SizeIs(0));
}

TEST_F(ScriptedUartEnd, WhileInputFloodsIn) {
    for (int round = 0; round < rounds; ++round) {
        start();
        for (int i = 0; i < 50; ++i) port.supply(incoming);
        ASSERT_TRUE(port.waitForWrites(static_cast<size_t>(round) + 1));
        end();
    }
}

TEST_F(ScriptedUartEnd, WhileAnObserverRuns) {
    for (int round = 0; round < rounds; ++round) {
        make(propertiesOf(never));
        std::promise<void> inObserver;
        std::promise<void> release;
        link->addDataReceivedObserver([&](const ByteArray&) {
            inObserver.set_value();
            release.get_future().wait_for(patience);
        });
        ASSERT_TRUE(link->init());
        port.supply(incoming);
        ASSERT_EQ(inObserver.get_future().wait_for(patience), std::future_status::ready);

        std::future<void> gone = std::async(std::launch::async, [this] { link.reset(); });
        ASSERT_TRUE(port.waitForDestructions(round + 1)); // the port goes first, then the reader is waited for
        release.set_value();
        ASSERT_TRUE(isReady(gone));
    }
}

TEST_F(ScriptedUartEnd, WhileAWriterWaitsForItsResponse) {
    for (int round = 0; round < rounds; ++round) {
        start();
        std::future<WriteDataResponse> result = writeFromAnotherThread();
        ASSERT_TRUE(port.waitForWrites(static_cast<size_t>(round) + 1));
        end();
        ASSERT_TRUE(isReady(result));
        EXPECT_EQ(result.get(), NoResponse);
    }
}

TEST_F(ScriptedUartEnd, WhileAWriterWaitsAfterTheReaderHasStopped) {
    for (int round = 0; round < rounds; ++round) {
        start();
        port.failRead();
        ASSERT_TRUE(log.waitFor("Stopping reading thread"));
        // The writer comes when nobody is left to wake it but the end of the link.
        std::future<WriteDataResponse> result = writeFromAnotherThread();
        ASSERT_TRUE(port.waitForWrites(static_cast<size_t>(round) + 1));
        end();
        ASSERT_TRUE(isReady(result));
        EXPECT_EQ(result.get(), NoResponse);
    }
}

// This port can only be destroyed, so a writer that does not leave costs the half second that it is given.
TEST_F(ScriptedUartEnd, WhileAWriteBlocks) {
    for (int round = 0; round < 3; ++round) {
        port.holdWrites(true);
        start();
        std::future<WriteDataResponse> result = writeFromAnotherThread();
        ASSERT_TRUE(port.waitForHeldWrites(1));
        end();
        ASSERT_TRUE(isReady(result));
        EXPECT_EQ(result.get(), NoResponse);
    }
}

TEST_F(ScriptedUartEnd, WhileAnAcknowledgementWaitsBehindABlockedWrite) {
    for (int round = 0; round < 3; ++round) {
        port.holdWrites(true);
        start();
        log4cplus::Logger::getInstance(linkLogger).setLogLevel(log4cplus::TRACE_LOG_LEVEL);
        std::future<WriteDataResponse> result = writeFromAnotherThread();
        ASSERT_TRUE(port.waitForHeldWrites(1));
        port.supply(incoming);
        ASSERT_TRUE(log.waitFor("Received message, emitting data rec signal"));
        end(); // the blocked write comes back, and the acknowledgement must find that the port is gone
        ASSERT_TRUE(isReady(result));
        EXPECT_EQ(result.get(), NoResponse);
        EXPECT_THAT(port.writes(), SizeIs(static_cast<size_t>(round) + 1));
    }
}

// Destroys the link while an observer holds the reader, and goes on with the observer still held and the port gone.
class ScriptedUartEndBehindAnObserver : public ScriptedUartEnd {
protected:
    void SetUp() override {
        ScriptedUartEnd::SetUp();
        make(propertiesOf(never));
        link->addDataReceivedObserver([this](const ByteArray&) {
            inObserver.raise();
            released.wait(patience);
        });
        ASSERT_TRUE(link->init());
    }
    void enterObserver(const ByteArray& input) {
        port.supply(input);
        ASSERT_TRUE(inObserver.wait(patience));
    }
    // The link stays reachable for calls that come late.
    void beginDestruction() {
        going = link.get();
        gone = std::async(std::launch::async, [this] { link.reset(); });
        ASSERT_TRUE(port.waitForDestructions(1));
    }
    void destroyBehindObserver(const ByteArray& input) {
        ASSERT_NO_FATAL_FAILURE(enterObserver(input));
        beginDestruction();
    }
    void finish() {
        released.raise();
        ASSERT_TRUE(isReady(gone));
    }

    Signal inObserver;
    Signal released;
    UartPhysicalLayer* going = nullptr;
    std::future<void> gone;
};

TEST_F(ScriptedUartEndBehindAnObserver, WaitingWriterComesBackAtOnce) {
    enterObserver(incoming);
    std::future<WriteDataResponse> result = writeFromAnotherThread();
    ASSERT_TRUE(port.waitForWrites(2)); // the acknowledgement, the packet
    beginDestruction();
    EXPECT_TRUE(isReady(result)); // with the observer still running
    finish();
    EXPECT_EQ(result.get(), NoResponse);
}

TEST_F(ScriptedUartEndBehindAnObserver, CallsThatComeAreRefusedAndTouchNothing) {
    destroyBehindObserver(incoming);
    log4cplus::Logger::getInstance(linkLogger).setLogLevel(log4cplus::TRACE_LOG_LEVEL);
    log.clear();
    EXPECT_EQ(going->writeData(messageEnd(1, 0, {1})), NoResponse);
    EXPECT_EQ(going->writeData({}), NoResponse);
    EXPECT_EQ(going->writePacket(messageEnd(1, 0, {1})), ByteArray());
    EXPECT_THAT(log.lines(), SizeIs(0));
    finish();
}

TEST_F(ScriptedUartEndBehindAnObserver, ReaderLeavesWithoutAnErrorLine) {
    destroyBehindObserver(incoming + incoming); // one more packet is at hand
    bool error = false;
    EXPECT_EQ(going->readPacket(64, &error), ByteArray());
    EXPECT_TRUE(error);
    finish();
    EXPECT_TRUE(log.contains("Stopping reading thread"));
    EXPECT_THAT(errorsOf(log), SizeIs(0));
    EXPECT_THAT(deliveredPackets(), ElementsAre(incoming));
    EXPECT_THAT(port.writes(), SizeIs(1));
}

TEST_F(ScriptedUartEnd, WaitsForADirectWritePacket) {
    // Holds the writer where it has nothing to do with the port any more.
    class HoldingAppender : public log4cplus::Appender {
    public:
        ~HoldingAppender() override { destructorImpl(); }
        void close() override { closed = true; }
        void append(const log4cplus::spi::InternalLoggingEvent& event) override {
            if (event.getMessage() != "Uart write failed") return;
            entered.raise();
            released.wait(patience);
        }
        Signal entered;
        Signal released;
    };
    auto* const holder = new HoldingAppender;
    log4cplus::SharedAppenderPtr attached(holder);
    log4cplus::Logger logger = log4cplus::Logger::getInstance(linkLogger);
    logger.addAppender(attached);
    logger.setLogLevel(log4cplus::ERROR_LOG_LEVEL); // the reader's last line must not wait behind the held one

    port.holdWrites(true);
    const NewThreads started;
    start();
    const std::vector<pid_t> reader = started.ids();
    ASSERT_THAT(reader, SizeIs(1));
    std::future<ByteArray> written =
        std::async(std::launch::async, [target = link.get()] { return target->writePacket(messageEnd(1, 0, {1})); });
    ASSERT_TRUE(port.waitForHeldWrites(1));
    std::promise<pid_t> destroyer;
    std::future<void> gone = std::async(std::launch::async, [&] {
        destroyer.set_value(currentThread());
        link.reset();
    });
    const pid_t thread = destroyer.get_future().get();
    ASSERT_TRUE(holder->entered.wait(patience));
    mustBecomeTrue([&] { return threadIds().count(reader.front()) == 0; }, "the reader has gone");
    const auto isThrough = [&] { return gone.wait_for(seconds(0)) == std::future_status::ready; };
    while (!isThrough() && !sleepsOnFutex(thread)) std::this_thread::yield();
    if (isThrough()) {
        ADD_FAILURE() << "the destructor did not wait; the writer would go on in a link that is gone";
        std::abort();
    }
    holder->released.raise();
    EXPECT_TRUE(isReady(gone));
    EXPECT_TRUE(isReady(written));
    EXPECT_EQ(written.get(), ByteArray());
    logger.removeAppender(attached);
}

TEST_F(ScriptedUartEnd, WhileTransportAndReaderAreBusy) {
    for (int round = 0; round < rounds; ++round) {
        make(propertiesOf(never));
        auto transport = std::make_unique<HostLinkTransportLayer>(link.get());
        auto message = std::make_unique<ByteArray>();
        transport->addMessageReceivedObserver([kept = message.get()](ByteArray bytes) { *kept = std::move(bytes); });
        transport->initTransportLayer();
        for (int i = 0; i < 20; ++i) port.supply(incoming);
        // The transport first: packets that the reader delivers from then on are dropped.
        transport.reset();
        message.reset();
        end();
    }
}

// --- Two threads at once ---

TEST_F(ScriptedUartEnd, FrameIdsAreDrawnOncePerRound) {
    start();
    constexpr size_t drawers = 4;
    std::vector<std::vector<int>> drawn(drawers);
    std::vector<std::thread> threads;
    for (std::vector<int>& own : drawn)
        threads.emplace_back([this, &own] {
            for (int i = 0; i < 60; ++i) own.push_back(link->nextFrameId());
        });
    for (int i = 0; i < 16; ++i) port.supply(incoming); // sixteen acknowledgements draw too
    for (std::thread& thread : threads) thread.join();
    ASSERT_TRUE(port.waitForWrites(16));

    std::multiset<int> ids;
    for (const std::vector<int>& own : drawn) ids.insert(own.begin(), own.end());
    for (const ByteArray& acknowledgement : port.writes()) ids.insert(acknowledgement[5]);
    ASSERT_THAT(ids, SizeIs(256));
    for (int id = 0; id < 256; ++id) EXPECT_EQ(ids.count(id), 1u) << id;
}

TEST_F(ScriptedUartEnd, PacketsAndAcknowledgementsNeverOverlapOnTheWire) {
    start(shortly);
    std::atomic<int> inside{0};
    std::atomic<bool> overlapped{false};
    port.onWrite([&](const ByteArray&) {
        if (++inside != 1) overlapped = true;
        std::this_thread::yield();
        --inside;
    });
    for (int i = 0; i < 50; ++i) port.supply(incoming);
    for (int i = 0; i < 3; ++i) link->writeData(messageEnd(1, 0, {1}));
    const bool allWritten = port.waitForWrites(53);
    link.reset(); // the last write may still be inside, with what stands on this function's stack
    ASSERT_TRUE(allWritten);
    EXPECT_FALSE(overlapped);
}

TEST_F(ScriptedUartEnd, WritersAndReaderShareTheLink) {
    make(propertiesOf(never));
    HostLinkTransportLayer transport(link.get());
    transport.initTransportLayer();
    port.onWrite([this](const ByteArray& packet) {
        if (packet.size() > 8) port.supply(incoming + responseFrame(0xA3, 0));
    });
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(transport.writeMessage({1, 2, 3}));
    ASSERT_TRUE(port.waitForWrites(200));
    ASSERT_TRUE(port.waitForIdleReader());
    EXPECT_THAT(deliveredPackets(), SizeIs(100));
}

// What the rule is about that observers end well within the response time-out: the acknowledgement was prompt, but the
// thread that would have read it was with the observer. It then answers the next packet, which nobody has heard.
TEST_F(ScriptedUartEnd, AnswerThatAnObserverHoldsUpIsTakenForThatOfTheNextPacket) {
    make(propertiesOf(shortly));
    Signal inObserver;
    Signal released;
    link->addDataReceivedObserver([&](const ByteArray&) {
        inObserver.raise();
        released.wait(patience);
    });
    ASSERT_TRUE(link->init());
    port.supply(incoming);
    ASSERT_TRUE(inObserver.wait(patience));
    port.onWrite([this](const ByteArray& packet) {
        if (packet == messageEnd(1, 0, {1})) port.supply(responseFrame(0xA3, 0));
    });

    EXPECT_EQ(link->writeData(messageEnd(1, 0, {1})), NoResponse); // heard and acknowledged at once
    released.raise();
    ASSERT_TRUE(port.waitForIdleReader());
    EXPECT_EQ(link->writeData(messageEnd(2, 0, {2})), Accepted); // not heard at all
    EXPECT_EQ(link->writeData(messageEnd(3, 0, {3})), NoResponse);
}

// --- What ends the process, on purpose ---

class ScriptedUartDeathTest : public ScriptedUartLink {
protected:
    // Other threads live here: the statement runs in a process of its own that starts over.
    void SetUp() override { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(ScriptedUartDeathTest, SecondInitWhileTheReaderIsHeld) {
    EXPECT_EXIT(
        {
            start();
            link->init();
        },
        testing::KilledBySignal(SIGABRT), "terminate called");
}

TEST_F(ScriptedUartDeathTest, SecondInitEvenAfterTheReaderHasStopped) {
    EXPECT_EXIT(
        {
            start();
            port.failRead();
            log.waitFor("Leave ");
            link->init();
        },
        testing::KilledBySignal(SIGABRT), "terminate called");
}

TEST_F(ScriptedUartDeathTest, DestructionWithoutInit) {
    EXPECT_EXIT(
        {
            make(propertiesOf(never));
            link.reset();
        },
        testing::KilledBySignal(SIGABRT), "terminate called");
}

TEST_F(ScriptedUartDeathTest, DestructionAfterInitFailed) {
    EXPECT_EXIT(
        {
            port.setInitResult(false);
            make(propertiesOf(never));
            link->init();
            link.reset();
        },
        testing::KilledBySignal(SIGABRT), "terminate called");
}

} // namespace
