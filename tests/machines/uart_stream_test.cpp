#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/machines/UartStream.h>

#include "support/Bytes.h"
#include "support/Packets.h"
#include "support/TestSeed.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const ByteArray ack = bytes("FF FE 08 00 A3 05 00 00");
const ByteArray message = bytes("FF FE 0F 00 23 07 00 00 02 00 01 15 00 00 00");

std::string textOf(const UartStream::Step& step) {
    switch (step.event) {
    case UartStream::Event::NeedBytes: return "need " + std::to_string(step.count);
    case UartStream::Event::NoStart: return "no start";
    case UartStream::Event::Skipped: return "skipped " + std::to_string(step.count);
    case UartStream::Event::Packet: return "packet " + hex(step.packet);
    case UartStream::Event::BadPacket: return "bad " + std::to_string(step.code) + " " + hex(step.packet);
    }
    return "?";
}

// Appends the bytes and asks until the machine wants more; every step as text, the last one its wish.
std::vector<std::string> feed(UartStream& stream, const ByteArray& chunk) {
    stream.append(chunk);
    std::vector<std::string> steps;
    do {
        steps.push_back(textOf(stream.next()));
    } while (steps.back().compare(0, 4, "need") != 0);
    return steps;
}

std::vector<std::string> feed(const ByteArray& chunk) {
    UartStream stream;
    return feed(stream, chunk);
}

std::string packet(const ByteArray& content) {
    return "packet " + hex(content);
}

// --- How many bytes it asks for ---

TEST(UartStream, AsksFor64BytesAtFirst) {
    EXPECT_THAT(feed({}), ElementsAre("need 64"));
}

TEST(UartStream, AsksFor64BytesUntilAHeaderCanBeThere) {
    UartStream stream;
    for (size_t i = 0; i < 7; ++i) EXPECT_THAT(feed(stream, slice(ack, i, i + 1)), ElementsAre("need 64"));
    EXPECT_THAT(feed(stream, slice(ack, 7, 8)), ElementsAre(packet(ack), "need 64"));
}

TEST(UartStream, WaitsForAHeaderEvenWithoutAStartMarkInSight) {
    EXPECT_THAT(feed(bytes("00 00 00 00 00 00 00")), ElementsAre("need 64"));
}

TEST(UartStream, AsksForTheMissingBytesOnceTheLengthIsKnown) {
    UartStream stream;
    const ByteArray big = messageEnd(1, 0, patternBytes(190)); // 200 bytes
    EXPECT_THAT(feed(stream, slice(big, 0, 64)), ElementsAre("need 136"));
    EXPECT_THAT(feed(stream, slice(big, 64, 100)), ElementsAre("need 100"));
    EXPECT_THAT(feed(stream, {}), ElementsAre("need 100"));
    EXPECT_THAT(feed(stream, slice(big, 100, 199)), ElementsAre("need 1"));
    EXPECT_THAT(feed(stream, slice(big, 199, 200)), ElementsAre(packet(big), "need 64"));
}

TEST(UartStream, LongestPacketTakesTwoFullReads) {
    UartStream stream;
    const ByteArray longest = messageEnd(1, 0, patternBytes(65525));
    EXPECT_THAT(feed(stream, slice(longest, 0, 64)), ElementsAre("need 65471"));
    EXPECT_THAT(feed(stream, slice(longest, 64, 65535)), ElementsAre(packet(longest), "need 64"));
}

// --- Good packets ---

TEST(UartStream, TakesOutEveryKindOfFrame) {
    for (unsigned flags = 0; flags < 256; ++flags) {
        const ByteArray headerOnly = responseFrame(flags, 3);
        EXPECT_THAT(feed(headerOnly), ElementsAre(packet(headerOnly), "need 64"));
        const ByteArray withPayload = packetOf(flags, 3, 0, bytes("5A"));
        EXPECT_THAT(feed(withPayload), ElementsAre(packet(withPayload), "need 64"));
    }
}

TEST(UartStream, TakesTwoPacketsFromOneRead) {
    EXPECT_THAT(feed(message + ack), ElementsAre(packet(message), packet(ack), "need 64"));
}

TEST(UartStream, KeepsThePartOfAPacketBehindAnother) {
    UartStream stream;
    EXPECT_THAT(feed(stream, message + slice(ack, 0, 7)), ElementsAre(packet(message), "need 64"));
    EXPECT_THAT(feed(stream, slice(ack, 7, 8) + slice(message, 0, 10)), ElementsAre(packet(ack), "need 5"));
    EXPECT_THAT(feed(stream, slice(message, 10, 15)), ElementsAre(packet(message), "need 64"));
}

TEST(UartStream, TakesWhatStandsBehindTheLongestPacket) {
    const ByteArray longest = messageEnd(1, 0, ByteArray(65525, 0x11));
    EXPECT_THAT(feed(longest + ack), ElementsAre(packet(longest), packet(ack), "need 64"));
}

TEST(UartStream, StartMarkInsideAPacketIsPayload) {
    const ByteArray tricky = messageEnd(1, 0, ack + ack);
    EXPECT_THAT(feed(tricky + message), ElementsAre(packet(tricky), packet(message), "need 64"));
}

TEST(UartStream, IgnoresPaddingAndTrailer) {
    ByteArray odd = message;
    odd[7] = 0x77;
    odd[13] = 0x88;
    odd[14] = 0x99;
    EXPECT_THAT(feed(odd), ElementsAre(packet(odd), "need 64"));
}

// What comes out does not depend on how the stream is cut.
const std::vector<ByteArray> severalPackets = {message,
                                               ack,
                                               messageEnd(1, 0, patternBytes(1)),
                                               messagePart(2, 0, patternBytes(54)),
                                               ack,
                                               messageEnd(2, 1, ByteArray(20, 0xFF))};

ByteArray joined(const std::vector<ByteArray>& parts) {
    ByteArray all;
    for (const ByteArray& part : parts) all = all + part;
    return all;
}

std::vector<std::string> withoutWishes(std::vector<std::string> steps) {
    steps.erase(std::remove_if(steps.begin(), steps.end(),
                               [](const std::string& step) { return step.compare(0, 4, "need") == 0; }),
                steps.end());
    return steps;
}

std::vector<std::string> severalPacketsAsSteps() {
    std::vector<std::string> steps;
    for (const ByteArray& content : severalPackets) steps.push_back(packet(content));
    return steps;
}

TEST(UartStream, CutAtEveryPlaceGivesTheSamePackets) {
    const ByteArray all = joined(severalPackets);
    for (size_t cut = 0; cut <= all.size(); ++cut) {
        UartStream stream;
        std::vector<std::string> steps = feed(stream, slice(all, 0, cut));
        for (std::string& step : feed(stream, slice(all, cut, all.size()))) steps.push_back(std::move(step));
        EXPECT_EQ(withoutWishes(steps), severalPacketsAsSteps()) << "cut at " << cut;
    }
}

TEST(UartStream, SingleBytesGiveTheSamePackets) {
    UartStream stream;
    std::vector<std::string> steps;
    for (const unsigned char byte : joined(severalPackets))
        for (std::string& step : feed(stream, {byte})) steps.push_back(std::move(step));
    EXPECT_EQ(withoutWishes(steps), severalPacketsAsSteps());
}

// --- Bytes that belong to no packet ---

TEST(UartStream, SkipsWhatStandsBeforeAPacket) {
    EXPECT_THAT(feed(bytes("00 FE FF") + ack), ElementsAre("skipped 3", packet(ack), "need 64"));
}

TEST(UartStream, SkipsBetweenPackets) {
    EXPECT_THAT(feed(ack + bytes("55") + message + bytes("AA AA") + ack),
                ElementsAre(packet(ack), "skipped 1", packet(message), "skipped 2", packet(ack), "need 64"));
}

TEST(UartStream, AsksForTheRestOfAHeaderBehindGarbage) {
    UartStream stream;
    EXPECT_THAT(feed(stream, bytes("00 00 00 00 00 00") + slice(ack, 0, 2)), ElementsAre("skipped 6", "need 64"));
    EXPECT_THAT(feed(stream, slice(ack, 2, 8)), ElementsAre(packet(ack), "need 64"));
}

TEST(UartStream, DropsABufferWithoutStartMarkWhole) {
    UartStream stream;
    EXPECT_THAT(feed(stream, ByteArray(64, 0x55)), ElementsAre("no start", "need 64"));
    EXPECT_THAT(feed(stream, ack), ElementsAre(packet(ack), "need 64"));
}

TEST(UartStream, DropsHalfAStartMarkWithTheBuffer) {
    UartStream stream;
    EXPECT_THAT(feed(stream, bytes("55 55 55 55 55 55 55 FF")), ElementsAre("no start", "need 64"));
    EXPECT_THAT(feed(stream, bytes("FE 08 00 A3 05 00 00")), ElementsAre("need 64"));
    EXPECT_THAT(feed(stream, bytes("55")), ElementsAre("no start", "need 64"));
}

TEST(UartStream, KeepsGarbageThatIsShorterThanAHeader) {
    UartStream stream;
    EXPECT_THAT(feed(stream, bytes("55 55 55 FF")), ElementsAre("need 64"));
    EXPECT_THAT(feed(stream, slice(ack, 1, 8)), ElementsAre("skipped 3", packet(ack), "need 64"));
}

TEST(UartStream, RepeatedFirstHalfOfTheMarkIsSkipped) {
    EXPECT_THAT(feed(bytes("FF FF FF") + ack), ElementsAre("skipped 3", packet(ack), "need 64"));
}

// --- Packets that fail ---

// A header that declares that length, as a response frame would otherwise be.
ByteArray declaring(unsigned length) {
    return {0xFF, 0xFE, static_cast<unsigned char>(length), static_cast<unsigned char>(length >> 8), 0x23, 5, 0, 0};
}

TEST(UartStream, LengthZeroGivesUpItsStartMark) {
    UartStream stream;
    // "00 00 23 05 00 00" stays, too short for a header, and is skipped when a packet comes.
    EXPECT_THAT(feed(stream, declaring(0)), ElementsAre("bad 10 FF FE", "need 64"));
    EXPECT_THAT(feed(stream, ack), ElementsAre("skipped 6", packet(ack), "need 64"));
}

TEST(UartStream, LengthZeroBeforeAGoodPacketInOneRead) {
    EXPECT_THAT(feed(declaring(0) + message), ElementsAre("bad 10 FF FE", "skipped 6", packet(message), "need 64"));
}

TEST(UartStream, LengthZeroOverAndOverEndsEachTime) {
    EXPECT_THAT(feed(declaring(0) + declaring(0) + declaring(0)),
                ElementsAre("bad 10 FF FE", "skipped 6", "bad 10 FF FE", "skipped 6", "bad 10 FF FE", "need 64"));
}

TEST(UartStream, LengthsOneToSevenAreTakenOutAsDeclared) {
    for (unsigned length = 1; length <= 7; ++length) {
        const ByteArray bad = declaring(length);
        EXPECT_THAT(feed(bad + ack), ElementsAre("bad 10 " + hex(slice(bad, 0, length)),
                                                 "skipped " + std::to_string(8 - length), packet(ack), "need 64"));
    }
}

TEST(UartStream, LengthsNineAndTenTakeWhatIsThere) {
    for (const unsigned length : {9u, 10u}) {
        UartStream stream;
        EXPECT_THAT(feed(stream, declaring(length)), ElementsAre("bad 10 " + hex(declaring(length)), "need 64"));
        EXPECT_THAT(feed(stream, ack), ElementsAre(packet(ack), "need 64"));
    }
    EXPECT_THAT(feed(declaring(10) + bytes("77")), ElementsAre("bad 10 " + hex(declaring(10)) + " 77", "need 64"));
}

TEST(UartStream, LengthsNineAndTenAreTakenOutWholeWhenThere) {
    EXPECT_THAT(feed(declaring(9) + bytes("77") + ack),
                ElementsAre("bad 10 " + hex(declaring(9)) + " 77", packet(ack), "need 64"));
    EXPECT_THAT(feed(declaring(10) + bytes("77 88") + ack),
                ElementsAre("bad 10 " + hex(declaring(10)) + " 77 88", packet(ack), "need 64"));
}

TEST(UartStream, LengthElevenIsTheShortestPacketWithPayload) {
    EXPECT_THAT(feed(declaring(11)), ElementsAre("need 3"));
    EXPECT_THAT(feed(declaring(11) + bytes("5A 00 00")),
                ElementsAre(packet(declaring(11) + bytes("5A 00 00")), "need 64"));
}

TEST(UartStream, DeclaredLengthSwallowsWhatFollows) {
    UartStream stream;
    EXPECT_THAT(feed(stream, declaring(30) + ack + ack), ElementsAre("need 6"));
    EXPECT_THAT(feed(stream, ack), ElementsAre(packet(declaring(30) + ack + ack + slice(ack, 0, 6)), "need 64"));
}

// --- Anything at all ---

size_t sizeOf(const UartStream::Step& step) {
    return step.event == UartStream::Event::Skipped ? static_cast<size_t>(step.count) : step.packet.size();
}

// Feeds the machine as the reader does, never more than it asked for. Fails when it asks for nothing, takes out
// nothing, or takes out what was never there.
void driveAsTheReaderDoes(const ByteArray& input, std::mt19937& generator) {
    UartStream stream;
    size_t fed = 0;
    size_t out = 0;
    for (;;) {
        const UartStream::Step step = stream.next();
        if (step.event == UartStream::Event::NeedBytes) {
            ASSERT_GT(step.count, 0);
            ASSERT_LT(fed - out + static_cast<size_t>(step.count), 65536u + 64u);
            if (fed == input.size()) return;
            const size_t most = std::min(static_cast<size_t>(step.count), input.size() - fed);
            const size_t count = 1 + generator() % most;
            stream.append(slice(input, fed, fed + count));
            fed += count;
        } else if (step.event == UartStream::Event::NoStart) {
            out = fed;
        } else {
            ASSERT_GT(sizeOf(step), 0u);
            if (step.event != UartStream::Event::Skipped) {
                ASSERT_LE(out + step.packet.size(), input.size());
                ASSERT_EQ(step.packet, slice(input, out, out + step.packet.size()));
            }
            out += sizeOf(step);
            ASSERT_LE(out, fed);
        }
    }
}

TEST(UartStream, RandomBytesNeverStopIt) {
    std::mt19937 generator = seededGenerator();
    for (int round = 0; round < 20; ++round) driveAsTheReaderDoes(randomBytes(generator, 20000), generator);
}

TEST(UartStream, BytesFullOfStartMarksNeverStopIt) {
    // Marks and small lengths far more often than by chance.
    static const unsigned char common[] = {0xFF, 0xFE, 0, 8, 9, 10, 11, 0x23, 0xA3, 1};
    std::mt19937 generator = seededGenerator();
    for (int round = 0; round < 20; ++round) {
        ByteArray input(20000);
        for (unsigned char& byte : input) byte = common[generator() % sizeof common];
        driveAsTheReaderDoes(input, generator);
    }
}

} // namespace
