// The interrupt line: which of its moves lead to an exchange, and what ends the watch.
#include <csignal>
#include <set>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "BusRigTest.h"
#include "support/LinkThreads.h"
#include "support/ProcessCounts.h"
#include "support/ProcessWatch.h"

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Long enough for an exchange that must not come.
constexpr milliseconds quiet{300};

class BusInterrupt : public BusRigTest {
protected:
    /// The test's own message as the host's answer to the next IRQ frame.
    void replyWithMessage(unsigned number) { rig.reply(numberedMessage(number)); }

    std::vector<ByteArray> messages(unsigned from, unsigned to) const {
        std::vector<ByteArray> result;
        for (unsigned number = from; number < to; ++number) result.push_back(asRead(numberedMessage(number)));
        return result;
    }
};

OVER_BOTH_WIRES(BusInterrupt);

// A value file that was just opened reports an event although nothing has happened.
TEST_P(BusInterrupt, LineThatIsHighWhenTheWatchBeginsLeadsToNoExchange) {
    const NewThreads started;
    startManual();
    ASSERT_NE(started.polling(), -1);
    EXPECT_FALSE(rig.waitForCount("transactions", 1, quiet));
    replyWithMessage(1);
    edge();
    ASSERT_TRUE(delivered.waitForCount(1));
    EXPECT_EQ(irqFrames(), 1U);
    EXPECT_EQ(log.count("IRQ GPIO falling edge"), 1U);
}

TEST_P(BusInterrupt, EdgeLeadsToOneExchange) {
    startManual();
    replyWithMessage(1);
    edge();
    ASSERT_TRUE(waitForExchanges(1));
    EXPECT_EQ(delivered.all(), messages(1, 2));
    EXPECT_THAT(busTexts(), ElementsAre("w fffe0e00220000004000" + std::string("00000000"),
                                        "r " + busrig::toHex(asRead(numberedMessage(1))), "w fffe0800a3010000"));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(BusInterrupt, EdgesAreCounted) {
    LinkCounts counts;
    rig.slaveManual();
    make();
    link->countInto(counts);
    ASSERT_TRUE(link->init());
    for (const unsigned number : {1U, 2U}) {
        replyWithMessage(number);
        edge();
        ASSERT_TRUE(waitForExchanges(number));
    }
    EXPECT_EQ(counts.of(LinkCounter::Edges), 2U);
    EXPECT_EQ(counts.of(LinkCounter::Exchanges), 2U);
    link.reset(); // before the counts
}

TEST_P(BusInterrupt, EdgeIsTracedWithTheLevelThatWasRead) {
    startManual();
    replyWithMessage(1);
    edge();
    EXPECT_TRUE(log.contains(log4cplus::TRACE_LOG_LEVEL, "IRQ GPIO falling edge (rdbuf = 0)"));
}

TEST_P(BusInterrupt, LineThatIsLowBeforeItIsArmedIsServed) {
    rig.slaveManual();
    replyWithMessage(1);
    rig.fault("already-low");
    start();
    ASSERT_TRUE(delivered.waitForCount(1));
    EXPECT_EQ(rig.count("edges"), 0U);
    ASSERT_TRUE(waitForExchanges(1));
    EXPECT_EQ(irqFrames(), 1U);
}

TEST_P(BusInterrupt, MessageQueuedBeforeTheStartIsRead) {
    rig.send({0x02, 0x00, 0x01, 0x15, 0x00});
    start();
    EXPECT_TRUE(delivered.waitForCount(1));
}

TEST_P(BusInterrupt, EdgeWithTheLineBackHighIsIgnored) {
    start();
    rig.fault("edge-back-high 1");
    rig.send({0x02, 0x00, 0x01, 0x15, 0x00});
    EXPECT_FALSE(rig.waitForCount("transactions", 1, quiet));
    edge(); // that one is served
    ASSERT_TRUE(delivered.waitForCount(1));
    ASSERT_TRUE(waitForExchanges(1));
    EXPECT_EQ(rig.count("rigFaults"), 1U);
    EXPECT_GE(rig.count("edges"), 2U);
    EXPECT_EQ(irqFrames(), 1U);
    EXPECT_EQ(log.count("IRQ GPIO falling edge"), 1U);
}

TEST_P(BusInterrupt, TwoEdgesLeadToTwoExchangesOneAfterTheOther) {
    startManual();
    replyWithMessage(1);
    replyWithMessage(2);
    rig.hold();
    edge();
    ASSERT_TRUE(rig.waitForCount("waiting", 1));
    edge();
    EXPECT_EQ(rig.count("waiting"), 1U); // the second one waits for the first to end
    rig.release();
    ASSERT_TRUE(waitForExchanges(2));
    EXPECT_EQ(delivered.all(), messages(1, 3));
    const std::vector<std::string> texts = busTexts();
    ASSERT_EQ(texts.size(), 6U);
    EXPECT_EQ(texts[0], "w " + busrig::toHex(irqFrame(0, 64)));
    EXPECT_EQ(texts[2], "w fffe0800a3010000");
    EXPECT_EQ(texts[3], "w " + busrig::toHex(irqFrame(2, 64)));
    EXPECT_EQ(texts[5], "w fffe0800a3030000");
}

TEST_P(BusInterrupt, EdgesThatArriveDuringAnExchangeAreServedInOrder) {
    constexpr unsigned count = 50;
    startManual();
    for (unsigned number = 0; number < count; ++number) replyWithMessage(number);
    rig.hold();
    for (unsigned number = 0; number < count; ++number) edge();
    rig.release();
    ASSERT_TRUE(waitForExchanges(count));
    EXPECT_EQ(delivered.all(), messages(0, count));
    EXPECT_EQ(irqFrames(), count);
    EXPECT_THAT(errors(), IsEmpty());
}

// The line is read once for a burst: the edges are one event.
TEST_P(BusInterrupt, BurstOfEdgesDeliversTheMessageOnce) {
    start();
    rig.fault("edge-burst 20");
    rig.send({0x02, 0x00, 0x01, 0x15, 0x00});
    ASSERT_TRUE(delivered.waitForCount(1));
    rig.send({0x02, 0x00, 0x01, 0x16, 0x00});
    ASSERT_TRUE(delivered.waitForCount(2));
    EXPECT_GE(rig.count("edges"), 21U);
    EXPECT_TRUE(rig.waitForCount("messagesSent", 2));
    EXPECT_EQ(delivered.count(), 2U);
}

TEST_P(BusInterrupt, LineStuckHighAsksForNothing) {
    start();
    rig.fault("stuck-line 1");
    rig.send({0x02, 0x00, 0x01, 0x15, 0x00});
    EXPECT_FALSE(rig.waitForCount("transactions", 1, quiet));
    rig.fault("none");
    EXPECT_TRUE(delivered.waitForCount(1));
}

TEST_P(BusInterrupt, LineStuckLowIsServedOnceAndCostsNothing) {
    startManual();
    replyWithMessage(1);
    rig.fault("stuck-line 0");
    ASSERT_TRUE(waitForExchanges(1));
    const uint64_t transactions = rig.count("transactions");
    EXPECT_FALSE(rig.waitForCount("transactions", transactions + 1, quiet));
    EXPECT_EQ(log.count("IRQ GPIO falling edge"), 1U);
    EXPECT_EQ(link->writeData(numberedMessage(1)), NoResponse); // the bus is free
}

TEST_P(BusInterrupt, ValueFileThatVanishesEndsTheWatch) {
    const std::set<int> before = openDescriptors();
    make();
    std::set<int> withBus = openDescriptors();
    const NewThreads started;
    ASSERT_TRUE(link->init());
    ASSERT_NE(started.polling(), -1);
    rig.fault("value-vanishes");
    ASSERT_TRUE(log.waitFor("Leave " + dbglog_scopedFunction("void SyncSerialLayer::gpioIrqLoop()", linkLogger)));
    EXPECT_THAT(errors(), ElementsAre("read error!"));
    EXPECT_EQ(openDescriptors(), withBus); // closed by the watcher as it left
    EXPECT_EQ(link->writeData(numberedMessage(1)), Accepted);
    link->shutdown();
    EXPECT_TRUE(started.haveGone());
    EXPECT_THAT(log.texts(log4cplus::INFO_LOG_LEVEL), ElementsAre("read error!"));
    EXPECT_EQ(openDescriptors(), withBus);

    ASSERT_TRUE(link->init());
    rig.press(1);
    EXPECT_TRUE(delivered.waitForCount(2));
}

// poll(2) refuses more descriptors than the process may have.
TEST_P(BusInterrupt, PollThatFailsEndsTheWatch) {
    const NewThreads started;
    startManual();
    ASSERT_NE(started.polling(), -1);
    rlimit usual{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
    rlimit low = usual;
    low.rlim_cur = 2;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    rig.line(gpio, false);
    const bool ended = log.waitFor("Leave " + dbglog_scopedFunction("void SyncSerialLayer::gpioIrqLoop()", linkLogger));
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
    ASSERT_TRUE(ended);
    EXPECT_EQ(log.count("poll failed"), 1U);
    EXPECT_TRUE(log.contains(log4cplus::ERROR_LOG_LEVEL, "poll failed"));
    EXPECT_TRUE(rig.waitForCount("valueFilesClosed", 1));
    link->shutdown();
    EXPECT_TRUE(started.haveGone());
}

TEST_P(BusInterrupt, SignalDoesNotEndTheWatch) {
    struct sigaction ignored {};
    ignored.sa_handler = [](int) {};
    struct sigaction usual {};
    ASSERT_EQ(sigaction(SIGUSR1, &ignored, &usual), 0);
    const NewThreads started;
    start();
    for (int i = 0; i < 20; ++i) {
        const pid_t watcher = started.polling();
        ASSERT_NE(watcher, -1);
        ASSERT_EQ(syscall(SYS_tgkill, getpid(), watcher, SIGUSR1), 0);
    }
    rig.press(1);
    EXPECT_TRUE(delivered.waitForCount(2));
    EXPECT_THAT(errors(), IsEmpty());
    link->shutdown();
    ASSERT_EQ(sigaction(SIGUSR1, &usual, nullptr), 0);
}

} // namespace
