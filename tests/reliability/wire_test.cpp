// The wire does what its journal says, and the journal survives its way as text.
#include <vector>

#include <gtest/gtest.h>

#include <hostsim/wire/FaultDice.h>
#include <hostsim/wire/WireJournal.h>

#include "support/Bytes.h"

namespace faultywire {

namespace {

constexpr WireFault byteFaults[] = {WireFault::LostByte, WireFault::CorruptedByte, WireFault::InsertedByte,
                                    WireFault::RepeatedByte};

std::vector<WireFault> draws(uint64_t seed) {
    WireFaults faults;
    faults.seed = seed;
    for (const WireFault fault : byteFaults) faults.rate(fault) = 0.1;
    FaultDice dice;
    dice.set(faults);
    std::vector<WireFault> result(200);
    for (WireFault& fault : result) fault = dice.drawByteFault();
    return result;
}

TEST(FaultDice, DrawsTheSameFromTheSameSeed) {
    EXPECT_EQ(draws(5), draws(5));
    EXPECT_NE(draws(5), draws(6));
}

TEST(FaultDice, DrawsNothingAtRateZeroAndAlwaysAtRateOne) {
    FaultDice dice;
    WireFaults faults;
    dice.set(faults);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(dice.drawOf({WireFault::Nack}), WireFault::None);
    faults.rate(WireFault::Nack) = 1;
    dice.set(faults);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(dice.drawOf({WireFault::Silence, WireFault::Nack}), WireFault::Nack);
}

TEST(FaultDice, DamagesTheByteThatItNames) {
    const ByteArray packet = bytes("FF FE 0B 00 23 07 00 00 41 00 00");
    FaultDice dice;
    for (int i = 0; i < 50; ++i) {
        const Entry lost = dice.damage(EntryKind::ToHost, packet, WireFault::LostByte);
        EXPECT_EQ(lost.arrived, slice(packet, 0, lost.position) + slice(packet, lost.position + 1, packet.size()));
        const Entry repeated = dice.damage(EntryKind::ToHost, packet, WireFault::RepeatedByte);
        EXPECT_EQ(repeated.arrived,
                  slice(packet, 0, repeated.position + 1) + slice(packet, repeated.position, packet.size()));
        const Entry corrupted = dice.damage(EntryKind::ToHost, packet, WireFault::CorruptedByte);
        ASSERT_EQ(corrupted.arrived.size(), packet.size());
        for (size_t at = 0; at < packet.size(); ++at)
            EXPECT_EQ(corrupted.arrived[at] == packet[at], at != corrupted.position);
        const Entry inserted = dice.damage(EntryKind::ToHost, packet, WireFault::InsertedByte);
        ASSERT_EQ(inserted.arrived.size(), packet.size() + 1);
        EXPECT_EQ(slice(inserted.arrived, inserted.position + 1, packet.size() + 1),
                  slice(packet, inserted.position, packet.size()));
    }
}

TEST(WireJournal, KeepsNothingUntilItIsTold) {
    WireJournal journal;
    journal.add({});
    EXPECT_TRUE(journal.take().empty());
    journal.keep(true);
    journal.add({});
    EXPECT_EQ(journal.take().size(), 1U);
    EXPECT_TRUE(journal.take().empty());
}

TEST(WireJournal, SurvivesItsWayAsText) {
    WireJournal journal;
    journal.keep(true);
    journal.add({EntryKind::ToModule, {}, WireFault::LostByte, 3, bytes("FF FE 08"), bytes("FF FE")});
    journal.add({EntryKind::HostReceived, {}, WireFault::None, 0, bytes("3F 80 00"), {}});
    const std::vector<Entry> before = journal.take();
    const std::vector<Entry> after = entriesFromText(asText(before));
    ASSERT_EQ(after.size(), 2U);
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(after[i].kind, before[i].kind);
        EXPECT_EQ(after[i].at, before[i].at);
        EXPECT_EQ(after[i].fault, before[i].fault);
        EXPECT_EQ(after[i].position, before[i].position);
        EXPECT_EQ(after[i].sent, before[i].sent);
        EXPECT_EQ(after[i].arrived, before[i].arrived);
    }
    EXPECT_TRUE(entriesFromText("").empty());
    EXPECT_THROW(entriesFromText("h 12 lost-byte"), std::invalid_argument);
    EXPECT_THROW(entriesFromText("h 12 no-such 0 - -"), std::invalid_argument);
}

} // namespace

} // namespace faultywire
