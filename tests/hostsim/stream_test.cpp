// How the simulated host finds packets on a serial line, and puts messages together from them.
#include <gtest/gtest.h>

#include <hostsim/HostOnLine.h>
#include <hostsim/PacketCutter.h>

#include "support/Bytes.h"

using hostsim::HostOnLine;
using hostsim::PacketCutter;
using hostsim::SimulatedHost;
using hostsim::Time;
using std::chrono::milliseconds;

namespace {

constexpr char ack[] = "FF FE 08 00 A3 05 00 00";
constexpr char message[] = "FF FE 0D 00 23 00 00 00 01 02 03 00 00";
constexpr char bad[] = ""; // stands for a bad packet
constexpr milliseconds timeout{100};

using Found = std::vector<std::string>;

/// A cutter, and what it has found.
struct Reader {
    PacketCutter cutter{timeout};

    Found add(const std::string& text, Time now = Time(0)) { return add(bytes(text), now); }
    Found add(const ByteArray& content, Time now = Time(0)) {
        Found found;
        cutter.add(content, now, [&](const ByteArray& packet) { found.push_back(hex(packet)); });
        return found;
    }
    Found expire(Time now) {
        Found found;
        cutter.expire(now, [&](const ByteArray& packet) { found.push_back(hex(packet)); });
        return found;
    }
};

} // namespace

TEST(PacketCutter, FindsPacketsHoweverTheStreamIsCut) {
    const ByteArray stream = bytes(std::string(ack) + message + ack);
    for (size_t cut = 1; cut <= stream.size(); ++cut) {
        Reader reader;
        Found found;
        for (size_t at = 0; at < stream.size(); at += cut)
            for (const std::string& piece : reader.add(slice(stream, at, std::min(at + cut, stream.size()))))
                found.push_back(piece);
        EXPECT_EQ(found, (Found{ack, message, ack})) << cut;
        EXPECT_EQ(reader.cutter.skipped(), 0u);
    }
}

TEST(PacketCutter, SkipsWhatStandsBeforeAStartMark) {
    Reader reader;
    EXPECT_EQ(reader.add(std::string("00 FF FF 41 FE") + ack), Found{ack});
    EXPECT_EQ(reader.cutter.skipped(), 5u);
}

TEST(PacketCutter, KeepsAHalfStartMark) {
    Reader reader;
    EXPECT_EQ(reader.add("41 42 FF"), Found{});
    EXPECT_EQ(reader.cutter.skipped(), 2u);
    EXPECT_EQ(reader.add("FE 08 00 A3 05 00 00"), Found{ack});
}

TEST(PacketCutter, ReportsAnImpossibleLengthAndGoesOnBehindItsMark) {
    for (const char* length : {"00 00", "07 00", "09 00", "0A 00"}) {
        Reader reader;
        EXPECT_EQ(reader.add(std::string("FF FE ") + length + " 23 00 00 00" + ack), (Found{bad, ack})) << length;
        EXPECT_EQ(reader.cutter.skipped(), 8u);
    }
}

TEST(PacketCutter, WaitsForTheRestOfAPacketUntilTheTimeIsOver) {
    Reader reader;
    EXPECT_FALSE(reader.cutter.nextDeadline(Time(0)));
    EXPECT_EQ(reader.add("FF FE 0D 00 23", milliseconds(1000)), Found{});
    EXPECT_EQ(reader.cutter.nextDeadline(milliseconds(1000)), Time(milliseconds(1100)));
    EXPECT_EQ(reader.expire(milliseconds(1099)), Found{});
    EXPECT_EQ(reader.expire(milliseconds(1100)), Found{bad});
    EXPECT_FALSE(reader.cutter.nextDeadline(milliseconds(1100)));
    EXPECT_EQ(reader.cutter.skipped(), 5u);
}

TEST(PacketCutter, ADeadlineIsAWholeMillisecond) {
    Reader reader;
    reader.add("FF FE 0D 00 23", Time(1999));
    EXPECT_EQ(reader.cutter.nextDeadline(Time(1999)), Time(101000));
    EXPECT_EQ(reader.expire(Time(100999)), Found{});
    EXPECT_EQ(reader.expire(Time(101000)), Found{bad});
}

TEST(PacketCutter, EachByteGivesThePacketNewTime) {
    Reader reader;
    reader.add("FF FE 0D", milliseconds(0));
    reader.add("00", milliseconds(90));
    EXPECT_EQ(reader.expire(milliseconds(189)), Found{});
    EXPECT_EQ(reader.expire(milliseconds(190)), Found{bad});
}

TEST(PacketCutter, FindsThePacketThatAFalseStartHasSwallowed) {
    Reader reader;
    EXPECT_EQ(reader.add(std::string("FF FE 00 FF") + ack), Found{}); // a declared length of 65280
    EXPECT_EQ(reader.expire(timeout), Found{ack});
    EXPECT_EQ(reader.cutter.skipped(), 4u);
}

TEST(PacketCutter, FindsTheLongestPacketThereIs) {
    ByteArray longest = bytes("FF FE FF FF 23 01 00 00");
    longest.resize(65535);
    Reader reader;
    EXPECT_EQ(reader.add(slice(longest, 0, 65534)), Found{});
    EXPECT_EQ(reader.add(slice(longest, 65534, 65535) + bytes(ack)), (Found{hex(longest), ack}));
}

TEST(PacketCutter, ALoneByteOfAStartMarkIsNotReported) {
    Reader reader;
    EXPECT_EQ(reader.add("FF"), Found{});
    EXPECT_FALSE(reader.cutter.nextDeadline(Time(0)));
    EXPECT_EQ(reader.expire(milliseconds(5000)), Found{});
}

// ---- frames

namespace {

enum class Result {
    Added,     // acknowledged, nothing else
    Completed, // a message has come in
    Duplicate,
    Refused // nack
};
constexpr milliseconds window{500};

// Frame 3: "AB" in packet 0, "C" in packet 1, the last.
constexpr char part0[] = "FF FE 0C 00 03 03 00 00 41 42 00 00";
constexpr char part1[] = "FF FE 0B 00 23 03 01 00 43 00 00";
// Frame 4: "D", the only packet.
constexpr char single[] = "FF FE 0B 00 23 04 00 00 44 00 00";
// Frame 0: "D", the only packet, as the first of a module that has just started.
constexpr char first[] = "FF FE 0B 00 23 00 00 00 44 00 00";

/// The simulated host on a serial line, and what it makes of each packet.
struct Frames {
    SimulatedHost host;
    HostOnLine line{host};
    ByteArray completed;

    Frames() {
        host.setTrace([this](hostsim::TraceEvent event, const ByteArray& content) {
            if (event == hostsim::TraceEvent::MessageReceived) completed = content;
        });
    }

    Result add(const std::string& packet, Time now = Time(0)) { return add(bytes(packet), now); }
    Result add(const ByteArray& packet, Time now = Time(0)) {
        const hostsim::HostCounts before = host.counts();
        line.receive(packet, now);
        while (!line.nextWrite(now).empty()) {
        }
        const hostsim::HostCounts& after = host.counts();
        if (after.nacksSent != before.nacksSent) return Result::Refused;
        if (after.duplicatePackets != before.duplicatePackets) return Result::Duplicate;
        return after.messagesReceived != before.messagesReceived ? Result::Completed : Result::Added;
    }
    // Response frames of the module, with the ids from `begin` to `end`.
    void responses(int begin, int end) {
        for (int id = begin; id <= end; ++id)
            line.receive(bytes("FF FE 08 00 23") + ByteArray{uint8_t(id), 0, 0}, Time(0));
    }
    const ByteArray& message() const { return completed; }
    uint64_t abandoned() const { return host.counts().framesAbandoned; }
    void reset() { line.receive(bytes("FF FE 08 00 21 06 00 00"), Time(0)); }
};

} // namespace

TEST(SimulatedFrames, PutsPacketsTogether) {
    Frames frames;
    EXPECT_EQ(frames.add(part0), Result::Added);
    EXPECT_EQ(frames.add(part1), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "41 42 43");
}

TEST(SimulatedFrames, FramesMayInterleave) {
    Frames frames;
    EXPECT_EQ(frames.add(part0), Result::Added);
    EXPECT_EQ(frames.add(single), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "44");
    EXPECT_EQ(frames.add(part1), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "41 42 43");
}

TEST(SimulatedFrames, RefusesAPacketWithoutThoseBeforeIt) {
    Frames frames;
    EXPECT_EQ(frames.add(part1), Result::Refused);
    frames.add(part0);
    EXPECT_EQ(frames.add("FF FE 0B 00 23 03 02 00 43 00 00"), Result::Refused); // packet 1 is missing
    EXPECT_EQ(frames.abandoned(), 1u);
    EXPECT_EQ(frames.add(part1), Result::Refused); // the frame is gone
}

TEST(SimulatedFrames, PacketZeroBeginsTheFrameAnew) {
    Frames frames;
    frames.add(part0);
    EXPECT_EQ(frames.add("FF FE 0B 00 03 03 00 00 58 00 00"), Result::Added);
    EXPECT_EQ(frames.abandoned(), 1u);
    EXPECT_EQ(frames.add(part1), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "58 43");
}

TEST(SimulatedFrames, TheSamePacketAgainIsADuplicate) {
    Frames frames;
    frames.add(part0);
    EXPECT_EQ(frames.add(part0, milliseconds(10)), Result::Duplicate);
    EXPECT_EQ(frames.add(part1, milliseconds(20)), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "41 42 43");
    EXPECT_EQ(frames.add(part1, milliseconds(30)), Result::Duplicate);
}

TEST(SimulatedFrames, TheSameBytesLaterAreAnotherPacket) {
    Frames frames;
    EXPECT_EQ(frames.add(single), Result::Completed);
    EXPECT_EQ(frames.add(single, window), Result::Completed);
}

TEST(SimulatedFrames, TheSameBytesAfterARoundOfFrameIdsAreAnotherPacket) {
    Frames frames;
    EXPECT_EQ(frames.add(single), Result::Completed);
    frames.responses(5, 259); // 5 to 255 and 0 to 3
    EXPECT_EQ(frames.add(single), Result::Completed);
}

TEST(SimulatedFrames, ResponsesThatTheModuleSendsBeforeItsRetryDoNotMakeItAnotherPacket) {
    Frames frames;
    frames.add(single);
    frames.responses(5, 131); // as many as can be told from a round
    EXPECT_EQ(frames.add(single), Result::Duplicate);
    frames.responses(132, 132);
    EXPECT_EQ(frames.add(single), Result::Completed);
}

TEST(SimulatedFrames, TheFirstPacketOfAModuleIsNeverARepetition) {
    Frames frames;
    EXPECT_EQ(frames.add(first), Result::Completed);
    frames.responses(1, 1); // it acknowledges the host's answer and ends
    EXPECT_EQ(frames.add(first), Result::Completed);
    EXPECT_EQ(frames.add(first), Result::Completed);
}

TEST(SimulatedFrames, AModuleThatBeginsWithAResponseIsHeardToo) {
    constexpr char second[] = "FF FE 0B 00 23 01 00 00 44 00 00"; // frame 1: the response had id 0
    Frames frames;
    frames.responses(0, 0);
    EXPECT_EQ(frames.add(second), Result::Completed);
    EXPECT_EQ(frames.add(second), Result::Duplicate);
    frames.responses(0, 0);
    EXPECT_EQ(frames.add(second), Result::Completed);
}

TEST(SimulatedFrames, ThreadsOfTheModuleMaySendTheirIdsInTheOtherOrder) {
    Frames frames;
    frames.add(single); // id 4
    frames.responses(3, 3);
    EXPECT_EQ(frames.add(single), Result::Duplicate);
    frames.responses(2, 2);
    EXPECT_EQ(frames.add(single), Result::Completed);
}

TEST(SimulatedFrames, ALaterPacketOfTheFirstFrameCanBeARepetition) {
    Frames frames;
    frames.add("FF FE 0C 00 03 00 00 00 41 42 00 00");
    EXPECT_EQ(frames.add("FF FE 0B 00 23 00 01 00 43 00 00"), Result::Completed);
    EXPECT_EQ(frames.add("FF FE 0B 00 23 00 01 00 43 00 00"), Result::Duplicate);
}

TEST(SimulatedFrames, AModuleThatStartsOverWithinAFrameBeginsItAnew) {
    Frames frames;
    EXPECT_EQ(frames.add("FF FE 0C 00 03 00 00 00 41 42 00 00"), Result::Added);
    EXPECT_EQ(frames.add("FF FE 0C 00 03 00 00 00 41 42 00 00"), Result::Added); // the new life's first packet
    EXPECT_EQ(frames.add("FF FE 0B 00 23 00 01 00 43 00 00"), Result::Completed);
    EXPECT_EQ(hex(frames.message()), "41 42 43");
    EXPECT_EQ(frames.abandoned(), 1u);
}

TEST(SimulatedFrames, AFrameBeyondTheSizeOfAMessageIsRefused) {
    Frames frames;
    ByteArray packet = bytes("FF FE F2 FF 03 03 00 00"); // 65522 bytes, 65512 of payload
    packet.resize(0xFFF2);
    EXPECT_EQ(frames.add(packet), Result::Added);
    EXPECT_EQ(frames.add("FF FE 21 00 03 03 01 00" + std::string(25 * 3, ' ') + // 23 bytes of payload: 65535 in all
                         "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"),
              Result::Added);
    EXPECT_EQ(frames.add("FF FE 0B 00 23 03 02 00 43 00 00"), Result::Refused);
    EXPECT_EQ(frames.abandoned(), 1u);
}

TEST(SimulatedFrames, AResetForgetsOpenFramesAndTheLastPacket) {
    Frames frames;
    frames.add(part0);
    frames.reset();
    EXPECT_EQ(frames.abandoned(), 1u);
    EXPECT_EQ(frames.add(part1), Result::Refused);
    EXPECT_EQ(frames.add(part0), Result::Added);
}
