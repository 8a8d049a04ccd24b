// What a link does otherwise when it is asked to: a second look at the line, a stop between write and read.
#include "BusRigTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const ByteArray message{0x02, 0x00, 0x01, 0x15, 0x00}; // what a host sends on its own

class BusOptions : public BusRigTest {
protected:
    /// A host that is not ready before the last re-read, once, and holds the line until it has been asked in time.
    void announceFromASlowHost() {
        rig.fault("late 4");
        rig.send(message);
        ASSERT_TRUE(waitForExchanges(1));
    }
    HostLinkPhysicalLayer::Properties withSecondLook() const {
        HostLinkPhysicalLayer::Properties all = properties();
        all.setInt(GpioSecondLook, 20);
        return all;
    }
    HostLinkPhysicalLayer::Properties withTwoTransactions() const {
        HostLinkPhysicalLayer::Properties all = properties();
        all.setInt(I2cOptions, 1);
        return all;
    }
};

OVER_BOTH_WIRES(BusOptions);

TEST_P(BusOptions, SlowHostIsServedAfterASecondLook) {
    start(withSecondLook());
    announceFromASlowHost();
    EXPECT_TRUE(delivered.waitForCount(1));
    EXPECT_TRUE(rig.waitForCount("messagesSent", 1));
    link->shutdown();
    EXPECT_EQ(log.count("Sending IRQ frame: "), 2U);
    EXPECT_EQ(rig.count("interrupts"), 1U);
}

TEST_P(BusOptions, SlowHostWaitsForItsNextEdgeWithoutASecondLook) {
    start();
    announceFromASlowHost();
    link->shutdown();
    EXPECT_EQ(log.count("Sending IRQ frame: "), 1U);
    EXPECT_EQ(delivered.count(), 0U);
    EXPECT_FALSE(rig.level(gpio));
}

TEST_P(BusOptions, SecondLookAtALineThatIsHighAgainLeadsToNothing) {
    rig.slaveManual();
    start(withSecondLook());
    rig.hold(); // until the line is high again
    edge();
    rig.release(); // nothing is read, four times
    ASSERT_TRUE(waitForExchanges(1));
    link->shutdown();
    EXPECT_EQ(log.count("Sending IRQ frame: "), 1U);
}

// An SPI link has no such option, and goes on as it was.
TEST_P(BusOptions, TwoTransactionsAreAskedForOnI2cAlone) {
    start(withTwoTransactions());
    EXPECT_EQ(link->writeData(numberedMessage(1)), Accepted);
    EXPECT_EQ(rig.count("transactions"), GetParam() == Wire::I2c ? 2U : 1U);
    rig.send(message);
    EXPECT_TRUE(delivered.waitForCount(1));
    EXPECT_TRUE(rig.waitForCount("messagesSent", 1));
    link->shutdown();
    EXPECT_EQ(rig.count("transactions"), GetParam() == Wire::I2c ? 5U : 3U); // IRQ frame, reply, acknowledgement
    EXPECT_THAT(errors(), IsEmpty());
}

} // namespace
