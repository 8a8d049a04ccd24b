// The host as device on a bus, phase by phase.
#include <gtest/gtest.h>

#include "BusLine.h"
#include "support/Packets.h"

namespace {

using Told = std::vector<std::string>;

constexpr char getVolume[] = "FF FE 0F 00 23 11 00 00 02 00 01 09 00 00 00";
constexpr char ackOf11[] = "FF FE 08 00 A3 11 00 00";
constexpr char event[] = "FF FE 0D 00 23 00 00 00 06 00 00 00 00";  // 13 bytes
constexpr char event2[] = "FF FE 0D 00 23 01 00 00 06 00 00 00 00"; // the next one
constexpr char irq64[] = "FF FE 0E 00 22 07 00 00 40 00 00 00 00 00";
constexpr char irq12[] = "FF FE 0E 00 22 07 00 00 0C 00 00 00 00 00";
constexpr char irq13[] = "FF FE 0E 00 22 07 00 00 0D 00 00 00 00 00";
constexpr char nothing7[] = "FF FE 08 00 23 07 00 00";
constexpr char ack[] = "FF FE 08 00 A3 12 00 00";
constexpr char nack[] = "FF FE 08 00 63 12 00 00";
constexpr char idle8[] = "FF FF FF FF FF FF FF FF";

class Bus : public BusLine {
public:
    using BusLine::BusLine;
    void tell() { send({6, 0, 0}); }
};

} // namespace

TEST(HostBus, AnswersAPacketInTheSameTransaction) {
    Bus bus;
    EXPECT_EQ(bus.writeRead(getVolume, 8), ackOf11);
    bus.deliver();
    EXPECT_EQ(bus.told, Told{"02 00 01 09 00"});
}

TEST(HostBus, IsIdleBeforeAnythingWasWrittenAndBehindTheAnswer) {
    Bus bus;
    EXPECT_EQ(bus.read(8), idle8);
    EXPECT_EQ(bus.read(0), "");
    EXPECT_EQ(bus.writeRead(getVolume, 12), padded(ackOf11, 12));
}

TEST(HostBus, GivesTheAnswerFromItsBeginningInEachRead) {
    Bus bus;
    EXPECT_EQ(bus.writeRead(getVolume, 3), "FF FE 08");
    EXPECT_EQ(bus.read(8), ackOf11);
    EXPECT_EQ(bus.read(8), ackOf11);
}

TEST(HostBus, LooksOnlyAtThePacketOfALongerWrite) {
    Bus bus;
    bus.write(std::string(getVolume) + " 00 00 FF FE 12");
    EXPECT_EQ(bus.read(8), ackOf11);
}

TEST(HostBus, RefusesWhatIsNoPacket) {
    Bus bus;
    EXPECT_EQ(bus.writeRead("FE FF 0F 00 23 11 00 00", 8), hex(responseFrame(0x63, 0)));
    EXPECT_EQ(bus.writeRead("FF FE 0F 00 23 11 00 00", 8), hex(responseFrame(0x63, 0)));
    EXPECT_EQ(bus.host.counts.badPackets, 2U);
}

TEST(HostBus, RefusesAPacketThatItCannotHold) {
    Bus bus({}, 14); // an IRQ frame
    EXPECT_EQ(bus.writeRead(getVolume, 8), hex(responseFrame(0x63, 0)));
    Bus wider({}, 15);
    EXPECT_EQ(wider.writeRead(getVolume, 8), ackOf11);
}

TEST(HostBus, AnEmptyWriteIsAScanAndChangesNothing) {
    Bus bus;
    bus.write(getVolume);
    bus.write("");
    EXPECT_EQ(bus.read(8), ackOf11);
    EXPECT_EQ(bus.host.counts.badPackets, 0U);
}

TEST(HostBus, HandsOutItsPacketAndPullsTheLineUntilItIsRead) {
    Bus bus;
    EXPECT_FALSE(bus.isLow());
    bus.tell();
    EXPECT_TRUE(bus.isLow());
    bus.write(irq64);
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.read(64), padded(event, 64));
    EXPECT_FALSE(bus.isLow());
    bus.write(ack);
    EXPECT_FALSE(bus.isLow());
    EXPECT_EQ(bus.outcomes, Told{"1 sent"});
    EXPECT_EQ(bus.read(8), idle8);
}

TEST(HostBus, PullsTheLineAgainForTheNextPacket) {
    Bus bus;
    bus.tell();
    bus.tell();
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.writeRead(irq64, 64), padded(event, 64));
    EXPECT_FALSE(bus.isLow());
    bus.write(ack);
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.writeRead(irq64, 64), padded(event2, 64));
}

TEST(HostBus, AnnouncesAPacketThatDoesNotFit) {
    Bus bus;
    bus.tell();
    EXPECT_EQ(bus.writeRead(irq12, 14), "FF FE 0E 00 22 07 00 00 0D 00 00 00 00 00");
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.writeRead(irq13, 13), event);
    bus.write(ack);
    EXPECT_EQ(bus.outcomes, Told{"1 sent"});
}

TEST(HostBus, AnIrqFrameWithoutAValueAsksForNothing) {
    Bus bus;
    bus.tell();
    EXPECT_EQ(bus.writeRead("FF FE 08 00 22 07 00 00", 14), "FF FE 0E 00 22 07 00 00 0D 00 00 00 00 00");
}

TEST(HostBus, WithNothingToSayAnswersWithNeitherBit) {
    Bus bus;
    EXPECT_EQ(bus.writeRead(irq64, 8), nothing7);
    bus.tell();
    bus.writeRead(irq64, 64);
    EXPECT_EQ(bus.writeRead(irq64, 8), nothing7) << "its packet is on its way";
    bus.write(ack);
    EXPECT_EQ(bus.outcomes, Told{"1 sent"});
}

TEST(HostBus, AnIrqFrameShowsThatTheModuleIsThere) {
    Bus bus;
    EXPECT_EQ(hostLinkHostModuleAnswers(&bus.host), 0);
    bus.write(irq64);
    EXPECT_EQ(hostLinkHostModuleAnswers(&bus.host), 1);
    EXPECT_EQ(bus.host.counts.packets, 1U);
}

TEST(HostBus, OffersARefusedPacketAgain) {
    Bus bus;
    bus.tell();
    bus.writeRead(irq64, 64);
    bus.write(nack);
    EXPECT_FALSE(bus.isLow());
    EXPECT_EQ(bus.wait(), 10U);
    EXPECT_EQ(bus.writeRead(irq64, 8), nothing7) << "too early";
    bus.advance(1010);
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.writeRead(irq64, 64), padded(event, 64));
}

TEST(HostBus, GivesUpAPacketThatIsReadAndNotAcknowledged) {
    Bus bus;
    bus.tell();
    bus.tell();
    bus.writeRead(irq64, 64);
    bus.isLow();
    EXPECT_EQ(bus.wait(), 1000U);
    bus.advance(1999);
    EXPECT_EQ(bus.read(13), event) << "the module reads again";
    EXPECT_FALSE(bus.isLow());
    bus.advance(2000);
    EXPECT_EQ(bus.outcomes, Told{"1 no response"});
    EXPECT_EQ(bus.read(8), idle8) << "it must not be taken now";
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.writeRead(irq64, 64), padded(event2, 64));
}

TEST(HostBus, TheAnswerToAnotherPacketStaysWhenAPacketIsGivenUp) {
    Bus bus;
    bus.tell();
    bus.writeRead(irq64, 64);
    bus.write(getVolume);
    bus.advance(2000);
    EXPECT_EQ(bus.read(8), ackOf11);
}

TEST(HostBus, APacketThatWasNotReadIsNotOnItsWay) {
    Bus bus;
    bus.tell();
    bus.write(irq64);
    bus.advance(1000000);
    EXPECT_TRUE(bus.outcomes.empty());
    EXPECT_EQ(bus.read(64), padded(event, 64));
}

TEST(HostBus, AResetDropsWhatTheLineAskedFor) {
    Bus bus;
    bus.tell();
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.writeRead("FF FE 08 00 21 03 00 00", 8), "FF FE 08 00 A3 03 00 00");
    EXPECT_FALSE(bus.isLow());
    EXPECT_EQ(bus.writeRead(irq64, 8), nothing7);
    EXPECT_EQ(bus.outcomes, Told{"1 reset"});
}

TEST(HostBus, RaisesALineThatNobodyServesForAnotherEdge) {
    Bus bus;
    bus.tell();
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.wait(), 250U);
    bus.now = 1249;
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.wait(), 1U);
    bus.now = 1250;
    EXPECT_FALSE(bus.isLow());
    EXPECT_EQ(bus.wait(), 1U);
    bus.now = 1251;
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.wait(), 250U);
    bus.now = 1251 + 3 * 251 + 250;
    EXPECT_FALSE(bus.isLow());
}

TEST(HostBus, WhoLooksSeldomSeesTheLineRiseAndFallAllTheSame) {
    Bus bus;
    bus.tell();
    EXPECT_TRUE(bus.isLow());
    bus.now = 260; // the gap would have been at 250
    EXPECT_EQ(bus.wait(), 0U);
    EXPECT_FALSE(bus.isLow());
    EXPECT_EQ(bus.wait(), 1U);
    bus.now = 280;
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.wait(), 250U);
    bus.now = 280 + 251; // a whole turn later
    EXPECT_FALSE(bus.isLow());
}

TEST(HostBus, AnIrqFrameBeginsTheTimeOfTheLineAnew) {
    Bus bus;
    bus.tell();
    bus.isLow();
    bus.now = 1249;
    bus.write(irq12);
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.wait(), 250U);
    bus.now = 1498;
    EXPECT_TRUE(bus.isLow());
    bus.now = 1499;
    EXPECT_FALSE(bus.isLow());
}

TEST(HostBus, HoldsTheLineForEverWhenItIsToldSo) {
    Bus bus;
    bus.busSetup.interruptRepeat = 0;
    bus.attach();
    bus.tell();
    EXPECT_TRUE(bus.isLow());
    EXPECT_EQ(bus.wait(), HOSTLINK_HOST_NEVER);
    bus.now = 1000000;
    EXPECT_TRUE(bus.isLow());
}

TEST(HostBus, TheLineKeepsItsTimeAcrossTheEndOfTheClock) {
    Bus bus;
    bus.now = 0xFFFFFF9C; // 100 before the end
    bus.tell();
    EXPECT_TRUE(bus.isLow());
    bus.now = 149;
    EXPECT_TRUE(bus.isLow());
    bus.now = 150;
    EXPECT_FALSE(bus.isLow());
    bus.now = 151;
    EXPECT_TRUE(bus.isLow());
}

TEST(HostBus, AtRestWaitsForNothing) {
    Bus bus;
    EXPECT_FALSE(bus.isLow());
    EXPECT_EQ(bus.wait(), HOSTLINK_HOST_NEVER);
}
