// How the simulated host finds packets on a serial line, and puts messages together from them.
#include <hostsim/IncomingFrames.h>
#include <hostsim/StreamReader.h>

#include <gtest/gtest.h>

#include "support/Bytes.h"

using hostsim::IncomingFrames;
using hostsim::StreamReader;
using hostsim::Time;
using std::chrono::milliseconds;

namespace {

constexpr char ack[] = "FF FE 08 00 A3 05 00 00";
constexpr char message[] = "FF FE 0D 00 23 00 00 00 01 02 03 00 00";
constexpr char startMark[] = "FF FE"; // stands for a bad packet
constexpr milliseconds timeout{100};

/// Everything that the reader has found, one text for each piece.
std::vector<std::string> drain(StreamReader& reader) {
    std::vector<std::string> found;
    while (const auto piece = reader.next()) found.push_back(hex(*piece));
    return found;
}

using Found = std::vector<std::string>;

} // namespace

TEST(StreamReader, FindsPacketsHoweverTheStreamIsCut) {
    const ByteArray stream = bytes(std::string(ack) + message + ack);
    for (size_t cut = 1; cut <= stream.size(); ++cut) {
        StreamReader reader(timeout);
        Found found;
        for (size_t at = 0; at < stream.size(); at += cut) {
            reader.add(slice(stream, at, std::min(at + cut, stream.size())), Time(0));
            for (const std::string& piece : drain(reader)) found.push_back(piece);
        }
        EXPECT_EQ(found, (Found{ack, message, ack})) << cut;
        EXPECT_EQ(reader.skipped(), 0u);
    }
}

TEST(StreamReader, SkipsWhatStandsBeforeAStartMark) {
    StreamReader reader(timeout);
    reader.add(bytes(std::string("00 FF FF 41 FE") + ack), Time(0));
    EXPECT_EQ(drain(reader), Found{ack});
    EXPECT_EQ(reader.skipped(), 5u);
}

TEST(StreamReader, KeepsAHalfStartMark) {
    StreamReader reader(timeout);
    reader.add(bytes("41 42 FF"), Time(0));
    EXPECT_EQ(drain(reader), Found{});
    EXPECT_EQ(reader.skipped(), 2u);
    reader.add(bytes("FE 08 00 A3 05 00 00"), Time(0));
    EXPECT_EQ(drain(reader), Found{ack});
}

TEST(StreamReader, ReportsAnImpossibleLengthAndGoesOnBehindItsMark) {
    for (const char* length : {"00 00", "07 00", "09 00", "0A 00"}) {
        StreamReader reader(timeout);
        reader.add(bytes(std::string("FF FE ") + length + " 23 00 00 00" + ack), Time(0));
        EXPECT_EQ(drain(reader), (Found{startMark, ack})) << length;
        EXPECT_EQ(reader.skipped(), 8u);
    }
}

TEST(StreamReader, WaitsForTheRestOfAPacketUntilTheTimeIsOver) {
    StreamReader reader(timeout);
    EXPECT_FALSE(reader.nextDeadline());
    reader.add(bytes("FF FE 0D 00 23"), milliseconds(1000));
    EXPECT_EQ(drain(reader), Found{});
    EXPECT_EQ(reader.nextDeadline(), Time(milliseconds(1100)));
    EXPECT_FALSE(reader.expire(milliseconds(1099)));
    const auto piece = reader.expire(milliseconds(1100));
    ASSERT_TRUE(piece);
    EXPECT_EQ(hex(*piece), startMark);
    EXPECT_EQ(drain(reader), Found{});
    EXPECT_FALSE(reader.nextDeadline());
    EXPECT_EQ(reader.skipped(), 5u);
}

TEST(StreamReader, EachByteGivesThePacketNewTime) {
    StreamReader reader(timeout);
    reader.add(bytes("FF FE 0D"), milliseconds(0));
    reader.add(bytes("00"), milliseconds(90));
    EXPECT_FALSE(reader.expire(milliseconds(189)));
    EXPECT_TRUE(reader.expire(milliseconds(190)));
}

TEST(StreamReader, FindsThePacketThatAFalseStartHasSwallowed) {
    StreamReader reader(timeout);
    reader.add(bytes(std::string("FF FE 00 FF") + ack), Time(0)); // a declared length of 65280
    EXPECT_EQ(drain(reader), Found{});
    const auto piece = reader.expire(timeout);
    ASSERT_TRUE(piece);
    EXPECT_EQ(hex(*piece), ack);
    EXPECT_EQ(drain(reader), Found{});
    EXPECT_EQ(reader.skipped(), 4u);
}

TEST(StreamReader, ALoneByteOfAStartMarkIsNotReported) {
    StreamReader reader(timeout);
    reader.add(bytes("FF"), Time(0));
    EXPECT_EQ(drain(reader), Found{});
    EXPECT_FALSE(reader.nextDeadline());
    EXPECT_FALSE(reader.expire(milliseconds(5000)));
}

// ---- frames

namespace {

using Result = IncomingFrames::Result;
constexpr milliseconds window{500};

// Frame 3: "AB" in packet 0, "C" in packet 1, the last.
constexpr char part0[] = "FF FE 0C 00 03 03 00 00 41 42 00 00";
constexpr char part1[] = "FF FE 0B 00 23 03 01 00 43 00 00";
// Frame 4: "D", the only packet.
constexpr char single[] = "FF FE 0B 00 23 04 00 00 44 00 00";
// Frame 0: "D", the only packet, as the first of a module that has just started.
constexpr char first[] = "FF FE 0B 00 23 00 00 00 44 00 00";

struct Frames : IncomingFrames {
    Frames() : IncomingFrames(window) {}
    Result add(const std::string& packet, Time now = Time(0)) {
        heard(bytes(packet));
        return take(bytes(packet), now);
    }
    // Response frames of the module, with the ids from `begin` to `end`.
    void responses(int begin, int end) {
        for (int id = begin; id <= end; ++id) heard(bytes("FF FE 08 00 A3") + ByteArray{uint8_t(id), 0, 0});
    }
};

} // namespace

TEST(IncomingFrames, PutsPacketsTogether) {
    Frames frames;
    EXPECT_EQ(frames.add(part0), Result::Added);
    EXPECT_EQ(frames.add(part1), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "41 42 43");
}

TEST(IncomingFrames, FramesMayInterleave) {
    Frames frames;
    EXPECT_EQ(frames.add(part0), Result::Added);
    EXPECT_EQ(frames.add(single), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "44");
    EXPECT_EQ(frames.add(part1), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "41 42 43");
}

TEST(IncomingFrames, RefusesAPacketWithoutThoseBeforeIt) {
    Frames frames;
    EXPECT_EQ(frames.add(part1), Result::Refused);
    frames.add(part0);
    EXPECT_EQ(frames.add("FF FE 0B 00 23 03 02 00 43 00 00"), Result::Refused); // packet 1 is missing
    EXPECT_EQ(frames.abandoned(), 1u);
    EXPECT_EQ(frames.add(part1), Result::Refused); // the frame is gone
}

TEST(IncomingFrames, PacketZeroBeginsTheFrameAnew) {
    Frames frames;
    frames.add(part0);
    EXPECT_EQ(frames.add("FF FE 0B 00 03 03 00 00 58 00 00"), Result::Added);
    EXPECT_EQ(frames.abandoned(), 1u);
    EXPECT_EQ(frames.add(part1), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "58 43");
}

TEST(IncomingFrames, TheSamePacketAgainIsADuplicate) {
    Frames frames;
    frames.add(part0);
    EXPECT_EQ(frames.add(part0, milliseconds(10)), Result::Duplicate);
    EXPECT_EQ(frames.add(part1, milliseconds(20)), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "41 42 43");
    EXPECT_EQ(frames.add(part1, milliseconds(30)), Result::Duplicate);
}

TEST(IncomingFrames, TheSameBytesLaterAreAnotherPacket) {
    Frames frames;
    EXPECT_EQ(frames.add(single), Result::Completed);
    EXPECT_EQ(frames.add(single, window), Result::Completed);
}

TEST(IncomingFrames, TheSameBytesAfterARoundOfFrameIdsAreAnotherPacket) {
    Frames frames;
    EXPECT_EQ(frames.add(single), Result::Completed);
    frames.responses(5, 259); // 5 to 255 and 0 to 3
    EXPECT_EQ(frames.add(single), Result::Completed);
}

TEST(IncomingFrames, ResponsesThatTheModuleSendsBeforeItsRetryDoNotMakeItAnotherPacket) {
    Frames frames;
    frames.add(single);
    frames.responses(5, 131); // as many as can be told from a round
    EXPECT_EQ(frames.add(single), Result::Duplicate);
    frames.responses(132, 132);
    EXPECT_EQ(frames.add(single), Result::Completed);
}

TEST(IncomingFrames, TheFirstPacketOfAModuleIsNeverARepetition) {
    Frames frames;
    EXPECT_EQ(frames.add(first), Result::Completed);
    frames.responses(1, 1); // it acknowledges the host's answer and ends
    EXPECT_EQ(frames.add(first), Result::Completed);
    EXPECT_EQ(frames.add(first), Result::Completed);
}

TEST(IncomingFrames, AModuleThatBeginsWithAResponseIsHeardToo) {
    constexpr char second[] = "FF FE 0B 00 23 01 00 00 44 00 00"; // frame 1: the response had id 0
    Frames frames;
    frames.responses(0, 0);
    EXPECT_EQ(frames.add(second), Result::Completed);
    EXPECT_EQ(frames.add(second), Result::Duplicate);
    frames.responses(0, 0);
    EXPECT_EQ(frames.add(second), Result::Completed);
}

TEST(IncomingFrames, ThreadsOfTheModuleMaySendTheirIdsInTheOtherOrder) {
    Frames frames;
    frames.add(single); // id 4
    frames.responses(3, 3);
    EXPECT_EQ(frames.add(single), Result::Duplicate);
    frames.responses(2, 2);
    EXPECT_EQ(frames.add(single), Result::Completed);
}

TEST(IncomingFrames, ALaterPacketOfTheFirstFrameCanBeARepetition) {
    Frames frames;
    frames.add("FF FE 0C 00 03 00 00 00 41 42 00 00");
    EXPECT_EQ(frames.add("FF FE 0B 00 23 00 01 00 43 00 00"), Result::Completed);
    EXPECT_EQ(frames.add("FF FE 0B 00 23 00 01 00 43 00 00"), Result::Duplicate);
}

TEST(IncomingFrames, AModuleThatStartsOverWithinAFrameBeginsItAnew) {
    Frames frames;
    EXPECT_EQ(frames.add("FF FE 0C 00 03 00 00 00 41 42 00 00"), Result::Added);
    EXPECT_EQ(frames.add("FF FE 0C 00 03 00 00 00 41 42 00 00"), Result::Added); // the new life's first packet
    EXPECT_EQ(frames.add("FF FE 0B 00 23 00 01 00 43 00 00"), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "41 42 43");
    EXPECT_EQ(frames.abandoned(), 1u);
}

TEST(IncomingFrames, AFrameBeyondTheSizeOfAMessageIsRefused) {
    Frames frames;
    ByteArray packet = bytes("FF FE F2 FF 03 03 00 00"); // 65522 bytes, 65512 of payload
    packet.resize(0xFFF2);
    EXPECT_EQ(frames.take(packet, Time(0)), Result::Added);
    EXPECT_EQ(frames.add("FF FE 21 00 03 03 01 00" + std::string(25 * 3, ' ') + // 23 bytes of payload: 65535 in all
                         "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"),
              Result::Added);
    EXPECT_EQ(frames.add("FF FE 0B 00 23 03 02 00 43 00 00"), Result::Refused);
    EXPECT_EQ(frames.abandoned(), 1u);
}

TEST(IncomingFrames, AResetForgetsOpenFramesAndTheLastPacket) {
    Frames frames;
    frames.add(part0);
    frames.reset();
    EXPECT_EQ(frames.abandoned(), 1u);
    EXPECT_EQ(frames.add(part1), Result::Refused);
    EXPECT_EQ(frames.add(part0), Result::Added);
}
