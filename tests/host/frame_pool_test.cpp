// Messages put together from packets, several at a time, in a pool of fixed size.
#include <gtest/gtest.h>

#include <host/FramePool.h>

#include "TestHost.h"
#include "support/Packets.h"

using namespace hostlink;

namespace {

class Pool : public TestHost {
public:
    explicit Pool(uint8_t openFrames = 2, uint32_t messageSize = 8) : TestHost({64, messageSize, openFrames, 1}) {}

    bool add(const ByteArray& packet) {
        const ExactBytes exact(packet);
        return addToPool(host, exact.data(), exact.size16()) == Addition::Taken;
    }
};

using Told = std::vector<std::string>;

} // namespace

TEST(HostFrames, AMessageOfOnePacketIsDelivered) {
    Pool pool;
    EXPECT_TRUE(pool.add(messageEnd(1, 0, {1, 2, 3})));
    EXPECT_EQ(pool.deliver(), 1);
    EXPECT_EQ(pool.told, Told{"01 02 03"});
    EXPECT_EQ(pool.deliver(), 0);
    EXPECT_EQ(pool.host.counts.messages, 1U);
}

TEST(HostFrames, PacketsOfTwoFramesMayBeMixed) {
    Pool pool;
    EXPECT_TRUE(pool.add(messagePart(1, 0, {1, 2})));
    EXPECT_TRUE(pool.add(messagePart(2, 0, {3, 4})));
    EXPECT_TRUE(pool.add(messageEnd(2, 1, {5})));
    EXPECT_TRUE(pool.add(messageEnd(1, 1, {6})));
    pool.deliver();
    EXPECT_EQ(pool.told, (Told{"03 04 05", "01 02 06"}));
}

TEST(HostFrames, MessagesAreDeliveredInTheOrderInWhichTheyWereComplete) {
    Pool pool(4);
    pool.add(messageEnd(9, 0, {1}));
    pool.add(messageEnd(3, 0, {2}));
    pool.deliver();
    pool.add(messagePart(7, 0, {3}));
    pool.add(messageEnd(5, 0, {4}));
    pool.add(messageEnd(7, 1, {5}));
    pool.deliver();
    EXPECT_EQ(pool.told, (Told{"01", "02", "04", "03 05"}));
}

TEST(HostFrames, PacketsMustComeInOrder) {
    Pool pool;
    EXPECT_FALSE(pool.add(messageEnd(1, 1, {1})));
    EXPECT_EQ(pool.host.counts.abandoned, 0U);
    EXPECT_TRUE(pool.add(messagePart(1, 0, {1})));
    EXPECT_FALSE(pool.add(messageEnd(1, 2, {3})));
    EXPECT_EQ(pool.host.counts.abandoned, 1U);
    EXPECT_FALSE(pool.add(messageEnd(1, 1, {2})));
    EXPECT_EQ(pool.deliver(), 0);
}

TEST(HostFrames, PacketZeroBeginsItsFrameAnew) {
    Pool pool(2);
    EXPECT_TRUE(pool.add(messagePart(1, 0, {1, 1})));
    EXPECT_TRUE(pool.add(messagePart(1, 0, {2, 2})));
    EXPECT_EQ(pool.host.counts.abandoned, 1U);
    EXPECT_TRUE(pool.add(messageEnd(1, 1, {3})));
    pool.deliver();
    EXPECT_EQ(pool.told, Told{"02 02 03"});
}

TEST(HostFrames, AMessageFillsItsPlaceToTheLastByte) {
    Pool pool(1, 4);
    EXPECT_TRUE(pool.add(messagePart(1, 0, {1, 2})));
    EXPECT_TRUE(pool.add(messageEnd(1, 1, {3, 4})));
    pool.deliver();
    EXPECT_EQ(pool.told, Told{"01 02 03 04"});
}

TEST(HostFrames, AMessageThatIsTooLongIsRefusedAndItsPlaceFree) {
    Pool pool(1, 4);
    EXPECT_TRUE(pool.add(messagePart(1, 0, {1, 2})));
    EXPECT_FALSE(pool.add(messageEnd(1, 1, {3, 4, 5})));
    EXPECT_EQ(pool.host.counts.abandoned, 1U);
    EXPECT_FALSE(pool.add(messageEnd(2, 0, {1, 2, 3, 4, 5})));
    EXPECT_TRUE(pool.add(messageEnd(3, 0, {9})));
    pool.deliver();
    EXPECT_EQ(pool.told, Told{"09"});
}

TEST(HostFrames, ANewFrameTakesThePlaceOfTheOneThatHasWaitedLongest) {
    Pool pool(2);
    pool.add(messagePart(1, 0, {1}));
    pool.add(messagePart(2, 0, {2}));
    pool.add(messagePart(1, 1, {3})); // now frame 2 has waited longer
    EXPECT_TRUE(pool.add(messageEnd(3, 0, {4})));
    EXPECT_EQ(pool.host.counts.abandoned, 1U);
    EXPECT_FALSE(pool.add(messageEnd(2, 1, {5})));
    EXPECT_TRUE(pool.add(messageEnd(1, 2, {6})));
    pool.deliver();
    EXPECT_EQ(pool.told, (Told{"04", "01 03 06"}));
}

TEST(HostFrames, ACompleteMessageNeverGoes) {
    Pool pool(2);
    EXPECT_TRUE(pool.add(messageEnd(1, 0, {1})));
    EXPECT_TRUE(pool.add(messageEnd(2, 0, {2})));
    EXPECT_FALSE(pool.add(messageEnd(3, 0, {3}))) << "no place";
    EXPECT_EQ(pool.host.counts.abandoned, 0U);
    EXPECT_EQ(hostLinkHostDeliver(&pool.host), 1);
    EXPECT_TRUE(pool.add(messageEnd(3, 0, {3})));
    pool.deliver();
    EXPECT_EQ(pool.told, (Told{"01", "02", "03"}));
}

TEST(HostFrames, AnOpenFrameGoesBeforeACompleteMessage) {
    Pool pool(2);
    pool.add(messageEnd(1, 0, {1}));
    pool.add(messagePart(2, 0, {2}));
    EXPECT_TRUE(pool.add(messagePart(3, 0, {3})));
    EXPECT_FALSE(pool.add(messageEnd(2, 1, {4})));
    EXPECT_TRUE(pool.add(messageEnd(3, 1, {5})));
    pool.deliver();
    EXPECT_EQ(pool.told, (Told{"01", "03 05"}));
}

TEST(HostFrames, AnIdMayComeAgainWhileItsMessageWaits) {
    Pool pool(2);
    pool.add(messageEnd(1, 0, {1}));
    EXPECT_TRUE(pool.add(messageEnd(1, 0, {2})));
    pool.deliver();
    EXPECT_EQ(pool.told, (Told{"01", "02"}));
}

TEST(HostFrames, AResetDropsOpenFramesAndIsToldInItsPlace) {
    Pool pool(3);
    pool.add(messageEnd(1, 0, {1}));
    pool.add(messagePart(2, 0, {2}));
    resetPool(pool.host);
    pool.add(messageEnd(3, 0, {3}));
    EXPECT_EQ(pool.host.counts.abandoned, 1U);
    EXPECT_FALSE(pool.add(messageEnd(2, 1, {4})));
    EXPECT_EQ(pool.deliver(), 3);
    EXPECT_EQ(pool.told, (Told{"01", "reset", "03"}));
    EXPECT_EQ(pool.deliver(), 0);
    resetPool(pool.host);
    pool.deliver();
    EXPECT_EQ(pool.told.back(), "reset");
}

TEST(HostFrames, APacketIdGoesRoundLikeTheModules) {
    Pool pool(1, 300);
    for (unsigned i = 0; i < 256; ++i) ASSERT_TRUE(pool.add(messagePart(1, i, {static_cast<unsigned char>(i)}))) << i;
    EXPECT_TRUE(pool.add(messageEnd(1, 0, {7}))) << "begins anew";
    pool.deliver();
    EXPECT_EQ(pool.told, Told{"07"});
}
