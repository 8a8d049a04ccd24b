// The UART link's ends and races, above a serial library whose port tells exactly where each thread is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <hostlink/HostLinkTransportLayer.h>

#include "ScriptedUartLink.h"
#include "support/ProcessCounts.h"

using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

constexpr int rounds = 100;

// Far more than any end takes, far less than the response timeout `never`.
constexpr seconds patience{20};

template <typename Result> bool isReady(std::future<Result>& result) {
    return result.wait_for(patience) == std::future_status::ready;
}

class ScriptedUartEnd : public ScriptedUartLink {
protected:
    void SetUp() override {
        threadsBefore = threadCount();
        // A hundred rounds need no record.
        log4cplus::Logger::getInstance(linkLogger).setLogLevel(log4cplus::INFO_LOG_LEVEL);
    }
    void TearDown() override {
        link.reset();
        EXPECT_TRUE(waitForThreadCount(threadsBefore));
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
        link.reset();
        ASSERT_EQ(port.destructions(), round + 1);
    }
}

TEST_F(ScriptedUartEnd, WhileTheReaderIsAboutToEnterTheNextRead) {
    for (int round = 0; round < rounds; ++round) {
        start();
        port.supply(incoming);
        link.reset(); // wherever the reader is meanwhile
    }
}

TEST_F(ScriptedUartEnd, WhileTheReaderIsBlocked) {
    for (int round = 0; round < rounds; ++round) {
        start();
        link.reset();
    }
    EXPECT_EQ(port.destructions(), rounds);
}

TEST_F(ScriptedUartEnd, WhileTheReaderIsInsideAPacket) {
    for (int round = 0; round < rounds; ++round) {
        start();
        supply(slice(incoming, 0, 12));
        link.reset();
    }
    EXPECT_THAT(deliveredPackets(), SizeIs(0));
}

TEST_F(ScriptedUartEnd, WhileInputFloodsIn) {
    for (int round = 0; round < rounds; ++round) {
        start();
        for (int i = 0; i < 50; ++i) port.supply(incoming);
        ASSERT_TRUE(port.waitForWrites(static_cast<size_t>(round) + 1));
        link.reset();
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
        link.reset();
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
        link.reset();
        ASSERT_TRUE(isReady(result));
        EXPECT_EQ(result.get(), NoResponse);
    }
}

TEST_F(ScriptedUartEnd, WhileAWriteBlocks) {
    for (int round = 0; round < rounds; ++round) {
        port.holdWrites(true);
        start();
        std::future<WriteDataResponse> result = writeFromAnotherThread();
        ASSERT_TRUE(port.waitForHeldWrites(1));
        link.reset();
        ASSERT_TRUE(isReady(result));
        EXPECT_EQ(result.get(), NoResponse);
    }
}

TEST_F(ScriptedUartEnd, WhileAnAcknowledgementWaitsBehindABlockedWrite) {
    for (int round = 0; round < 10; ++round) {
        port.holdWrites(true);
        start();
        log4cplus::Logger::getInstance(linkLogger).setLogLevel(log4cplus::TRACE_LOG_LEVEL);
        std::future<WriteDataResponse> result = writeFromAnotherThread();
        ASSERT_TRUE(port.waitForHeldWrites(1));
        port.supply(incoming);
        ASSERT_TRUE(log.waitFor("Received message, emitting data rec signal"));
        link.reset(); // the blocked write comes back, and the acknowledgement must find that the port is gone
        ASSERT_TRUE(isReady(result));
        EXPECT_EQ(result.get(), NoResponse);
        EXPECT_THAT(port.writes(), SizeIs(static_cast<size_t>(round) + 1));
    }
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
        link.reset();
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
