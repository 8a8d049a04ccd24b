// Packets out of the bytes of a serial line: the cutter alone.
#include <gtest/gtest.h>

#include <host/StreamCutter.h>

#include "support/Bytes.h"

using namespace hostlink;

namespace {

constexpr char ack[] = "FF FE 08 00 A3 05 00 00";
constexpr char message[] = "FF FE 0B 00 23 01 00 00 AA 00 00";

class Line {
public:
    explicit Line(uint16_t size = 16) : storage(size) {
        stream.bytes = storage.data();
        stream.size = size;
        stream.timeout = 100;
    }

    uint32_t add(const std::string& text, uint32_t now = 0) {
        const ExactBytes exact(text);
        return addBytes(stream, exact.data(), static_cast<uint32_t>(exact.size()), now);
    }
    std::string next() { return text(nextCut(stream)); }
    std::string expire(uint32_t now) { return text(expireCut(stream, now)); }
    uint32_t wait(uint32_t now) const { return streamWait(stream, now); }

    HostLinkHostStream stream{};

private:
    static std::string text(const Cut& cut) {
        if (cut.kind == Cut::Bad) return "bad";
        return cut.kind == Cut::Packet ? hex(cut.packet, cut.length) : "";
    }
    ExactBytes storage;
};

} // namespace

TEST(HostStream, CutsAPacketWhenItsLastByteHasCome) {
    Line line;
    line.add("FF FE 08 00 A3 05 00");
    EXPECT_EQ(line.next(), "");
    line.add("00");
    EXPECT_EQ(line.next(), ack);
    EXPECT_EQ(line.next(), "");
    EXPECT_EQ(line.stream.skipped, 0U);
}

TEST(HostStream, CutsPacketsThatComeAtOnce) {
    Line line(19);
    line.add(std::string(ack) + " " + message);
    EXPECT_EQ(line.next(), ack);
    EXPECT_EQ(line.next(), message);
    EXPECT_EQ(line.next(), "");
}

TEST(HostStream, TakesNoMoreThanItHolds) {
    Line line(11);
    EXPECT_EQ(line.add("FF FE 0B 00 23 01 00 00 AA 00 00 FF FE"), 11U);
    EXPECT_EQ(line.next(), message);
    EXPECT_EQ(line.add("FF FE"), 2U);
    EXPECT_EQ(line.add(""), 0U);
}

TEST(HostStream, SkipsWhatStandsBeforeAStartMark) {
    Line line;
    line.add("00 FE FF FF FE 08 00 A3 05 00 00");
    EXPECT_EQ(line.next(), ack);
    EXPECT_EQ(line.stream.skipped, 3U);
}

TEST(HostStream, KeepsHalfAStartMark) {
    Line line;
    line.add("01 02 FF");
    EXPECT_EQ(line.next(), "");
    EXPECT_EQ(line.stream.skipped, 2U);
    line.add("FE 08 00 A3 05 00 00");
    EXPECT_EQ(line.next(), ack);
}

TEST(HostStream, HalfAStartMarkHasNoDeadline) {
    Line line;
    line.add("FF");
    EXPECT_EQ(line.next(), "");
    EXPECT_EQ(line.wait(0), HOSTLINK_HOST_NEVER);
    EXPECT_EQ(line.expire(1000000), "");
}

TEST(HostStream, AnImpossibleLengthIsBadAtOnce) {
    for (const char* length : {"00 00", "07 00", "09 00", "0A 00"}) {
        Line line;
        line.add(std::string("FF FE ") + length + " 23 01 00 00");
        EXPECT_EQ(line.next(), "bad") << length;
        EXPECT_EQ(line.next(), "") << length;
    }
}

TEST(HostStream, APacketLongerThanTheStorageIsBadAtOnce) {
    Line line(16);
    line.add("FF FE 10 00 23 01 00 00");
    EXPECT_EQ(line.next(), "");
    Line shorter(15);
    shorter.add("FF FE 10 00 23 01 00 00");
    EXPECT_EQ(shorter.next(), "bad");
    shorter.add(ack);
    EXPECT_EQ(shorter.next(), ack);
}

TEST(HostStream, FindsThePacketBehindABadMark) {
    Line line(19);
    line.add("FF FE 09 00 FF FE 08 00 A3 05 00 00");
    EXPECT_EQ(line.next(), "bad");
    EXPECT_EQ(line.next(), ack);
    EXPECT_EQ(line.stream.skipped, 4U);
}

TEST(HostStream, APacketThatStopsIsGivenUpAfterThePause) {
    Line line;
    line.add("FF FE 0B 00 23 01", 5);
    EXPECT_EQ(line.next(), "");
    line.add("00", 7);
    EXPECT_EQ(line.wait(7), 100U);
    EXPECT_EQ(line.wait(106), 1U);
    EXPECT_EQ(line.expire(106), "");
    EXPECT_EQ(line.wait(107), 0U);
    EXPECT_EQ(line.expire(107), "bad");
    EXPECT_EQ(line.next(), "");
    EXPECT_EQ(line.wait(107), HOSTLINK_HOST_NEVER);
    EXPECT_EQ(line.expire(500), "");
    line.add(ack);
    EXPECT_EQ(line.next(), ack);
}

TEST(HostStream, AStartMarkAloneIsGivenUpToo) {
    Line line;
    line.add("FF FE", 0);
    EXPECT_EQ(line.next(), "");
    EXPECT_EQ(line.wait(0), 100U);
    EXPECT_EQ(line.expire(100), "bad");
}

TEST(HostStream, APacketInsideOneThatWasGivenUpIsFound) {
    Line line(32);
    line.add("FF FE 20 00 23 01 FF FE 08 00 A3 05 00 00 11", 0);
    EXPECT_EQ(line.next(), "");
    EXPECT_EQ(line.expire(100), ack);
    EXPECT_EQ(line.next(), "");
}

TEST(HostStream, HalfPacketsInsideOneThatWasGivenUpAreOneBadPacket) {
    Line line(32);
    line.add("FF FE 20 00 FF FE 1F 00 FF FE 1E 00", 0);
    EXPECT_EQ(line.next(), "");
    EXPECT_EQ(line.expire(100), "bad");
    EXPECT_EQ(line.next(), "");
    EXPECT_EQ(line.stream.used, 0);
}

TEST(HostStream, AHandedOutPacketIsNotGivenUp) {
    Line line;
    line.add(ack, 0);
    EXPECT_EQ(line.next(), ack);
    EXPECT_EQ(line.wait(1000), HOSTLINK_HOST_NEVER);
    EXPECT_EQ(line.expire(1000), "");
}

TEST(HostStream, ThePauseIsMeasuredAcrossTheEndOfTheClock) {
    Line line;
    line.add("FF FE 0B 00", 0xFFFFFFF0);
    EXPECT_EQ(line.next(), "");
    EXPECT_EQ(line.wait(0xFFFFFFF0), 100U);
    EXPECT_EQ(line.expire(83), "");
    EXPECT_EQ(line.expire(84), "bad");
}
