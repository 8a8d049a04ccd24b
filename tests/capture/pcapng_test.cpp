// Recordings byte by byte. The blocks were packed by Python's struct, field by field as the format has them; tshark
// reads what the programs record in tests/system.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <capture/PcapngReader.h>
#include <capture/PcapngWriter.h>

#include "support/Bytes.h"
#include "support/Properties.h"

using namespace capture;

namespace {

constexpr char section[] = "0A 0D 0D 0A 28 00 00 00 4D 3C 2B 1A 01 00 00 00 FF FF FF FF FF FF FF FF 04 00 02 00 6D 65 "
                           "00 00 00 00 00 00 28 00 00 00 ";
// "/dev/x", "uart bytes", nanoseconds
constexpr char line[] = "01 00 00 00 3C 00 00 00 93 00 00 00 00 00 00 00 02 00 06 00 2F 64 65 76 2F 78 00 00 03 00 0A "
                        "00 75 61 72 74 20 62 79 74 65 73 00 00 09 00 01 00 09 00 00 00 00 00 00 00 3C 00 00 00 ";
// at 1700000000.123456789, outbound, FF FE 08, "verdict Accepted"
constexpr char said[] =
    "06 00 00 00 44 00 00 00 00 00 00 00 FE 9C 97 17 15 CD 85 3D 03 00 00 00 03 00 00 00 FF FE 08 00 02 00 04 00 02 00 "
    "00 00 01 00 10 00 76 65 72 64 69 63 74 20 41 63 63 65 70 74 65 64 00 00 00 00 44 00 00 00 ";
constexpr char bare[] = "06 00 00 00 24 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                        "00 24 00 00 00 ";

ByteArray join(const std::vector<std::string>& blocks) {
    ByteArray all;
    for (const std::string& block : blocks) all = all + bytes(block);
    return all;
}

std::vector<Packet> readAll(PcapngReader& reader) {
    std::vector<Packet> packets;
    while (auto packet = reader.next()) packets.push_back(std::move(*packet));
    return packets;
}

std::vector<Packet> packetsOf(const ByteArray& file, std::string* problem = nullptr) {
    PcapngReader reader;
    reader.append(file.data(), file.size());
    const std::vector<Packet> packets = readAll(reader);
    if (problem != nullptr) *problem = reader.problem();
    return packets;
}

// An interface block of little-endian section with these options, and a packet of that many ticks.
uint64_t timeOf(const std::string& options, const std::string& ticksHighLow) {
    const ByteArray body = bytes("93 00 00 00 00 00 00 00" + options);
    const auto length = static_cast<unsigned char>(body.size() + 12);
    const ByteArray interface = ByteArray{1, 0, 0, 0, length, 0, 0, 0} + body + ByteArray{length, 0, 0, 0};
    const ByteArray packet =
        bytes("06 00 00 00 20 00 00 00 00 00 00 00" + ticksHighLow + "00 00 00 00 00 00 00 00 20 00 00 00");
    const auto packets = packetsOf(bytes(section) + interface + packet);
    return packets.size() == 1 ? packets[0].time : 4711;
}

std::string problemOf(const std::vector<std::string>& blocks) {
    std::string problem;
    packetsOf(join(blocks), &problem);
    return problem;
}

} // namespace

TEST(PcapngWriter, WritesWhatTheFormatHas) {
    Bytes file;
    appendSection(file, "me");
    EXPECT_EQ(hex(file) + " ", section);
    file.clear();
    appendInterface(file, {"/dev/x", "uart bytes"});
    EXPECT_EQ(hex(file) + " ", line);
    file.clear();
    const ByteArray content = bytes("FF FE 08");
    const PacketView packet{0, 1'700'000'000'123'456'789, Direction::Outbound, content.data(), 3, "verdict Accepted"};
    appendPacket(file, packet);
    EXPECT_EQ(hex(file) + " ", said);
    EXPECT_EQ(sizeOf(packet), file.size());
    file.clear();
    appendPacket(file, {0, 1});
    EXPECT_EQ(hex(file) + " ", bare);
    EXPECT_EQ(sizeOf({0, 1}), file.size());
}

TEST(PcapngWriter, CutsACommentThatNoOptionHolds) {
    const std::string text(70000, 'x');
    Bytes file;
    const PacketView packet{0, 1, Direction::Inbound, nullptr, 0, text};
    appendPacket(file, packet);
    EXPECT_EQ(sizeOf(packet), file.size());
    const ByteArray all = join({section, line}) + file;
    EXPECT_EQ(packetsOf(all).at(0).comments.at(0), std::string(65535, 'x'));
}

TEST(PcapngReader, GivesPacketsOutAsSoonAsTheyAreWhole) {
    const ByteArray file = join({section, line, said, bare});
    PcapngReader reader;
    std::vector<Packet> packets;
    for (const unsigned char byte : file) {
        const ByteArray one{byte};
        reader.append(one.data(), 1);
        for (auto packet = reader.next(); packet; packet = reader.next()) packets.push_back(*packet);
    }
    ASSERT_EQ(packets.size(), 2u);
    EXPECT_EQ(packets[0].time, 1'700'000'000'123'456'789u);
    EXPECT_EQ(packets[0].direction, Direction::Outbound);
    EXPECT_EQ(hex(packets[0].bytes), "FF FE 08");
    EXPECT_EQ(packets[0].comments, std::vector<std::string>{"verdict Accepted"});
    EXPECT_EQ(packets[1].direction, Direction::Unknown);
    EXPECT_EQ(reader.interfaces().at(0).name, "/dev/x");
    EXPECT_EQ(reader.interfaces().at(0).description, "uart bytes");
    EXPECT_EQ(reader.problem(), "");
    EXPECT_EQ(reader.waiting(), 0u);
}

TEST(PcapngReader, KeepsABlockThatIsCutOff) {
    const ByteArray file = join({section, line, said});
    PcapngReader reader;
    reader.append(file.data(), file.size() - 1);
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.problem(), "");
    EXPECT_EQ(reader.waiting(), 0x43u);
    reader.append(file.data() + file.size() - 1, 1);
    EXPECT_TRUE(reader.next());
}

// Big-endian: the same numbers the other way round.
TEST(PcapngReader, ReadsBothOrdersOfBytes) {
    const auto packets = packetsOf(join(
        {"0A 0D 0D 0A 00 00 00 1C 1A 2B 3C 4D 00 01 00 00 FF FF FF FF FF FF FF FF 00 00 00 1C",
         "00 00 00 01 00 00 00 14 00 93 00 00 00 00 00 00 00 00 00 14",
         "00 00 00 06 00 00 00 30 00 00 00 00 00 00 00 00 00 00 00 02 00 00 00 02 00 00 00 02 AA BB 00 00 00 02 00 04 "
         "00 00 00 01 00 00 00 00 00 00 00 30",
         section, line, said}));
    ASSERT_EQ(packets.size(), 2u);
    EXPECT_EQ(packets[0].time, 2000u); // microseconds where nothing is said
    EXPECT_EQ(hex(packets[0].bytes), "AA BB");
    EXPECT_EQ(packets[0].direction, Direction::Inbound);
    EXPECT_EQ(packets[0].interface, 0u);
    EXPECT_EQ(packets[1].interface, 1u);
}

TEST(PcapngReader, TakesTheSameInterfaceOfALaterSectionForTheSame) {
    PcapngReader reader;
    const std::string other = "01 00 00 00 14 00 00 00 93 00 00 00 00 00 00 00 14 00 00 00";
    const ByteArray files = join({section, line, other, said, section, other, line, bare, section, line, bare});
    reader.append(files.data(), files.size());
    const auto packets = readAll(reader);
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(reader.interfaces().size(), 2u);
    EXPECT_EQ(packets[0].interface, 0u);
    EXPECT_EQ(packets[1].interface, 1u);
    EXPECT_EQ(packets[2].interface, 0u);
}

TEST(PcapngReader, PassesOverWhatItDoesNotKnowAndTakesSimplePackets) {
    const auto packets = packetsOf(join({section, line, "05 00 00 00 10 00 00 00 01 02 03 04 10 00 00 00",
                                         "03 00 00 00 14 00 00 00 03 00 00 00 01 02 03 00 14 00 00 00"}));
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(hex(packets[0].bytes), "01 02 03");
    EXPECT_EQ(packets[0].direction, Direction::Unknown);
}

TEST(PcapngReader, ReadsTimesInEveryResolution) {
    EXPECT_EQ(timeOf("", "00 00 00 00 07 00 00 00"), 7000u);
    EXPECT_EQ(timeOf("09 00 01 00 00 00 00 00", "00 00 00 00 07 00 00 00"), 7'000'000'000u); // seconds
    EXPECT_EQ(timeOf("09 00 01 00 0C 00 00 00", "00 00 00 00 88 13 00 00"), 5u);             // picoseconds
    EXPECT_EQ(timeOf("09 00 01 00 7F 00 00 00", "FF FF FF 7F FF FF FF FF"), 0u);
    EXPECT_EQ(timeOf("09 00 01 00 80 00 00 00", "00 00 00 00 02 00 00 00"), 2'000'000'000u);
    EXPECT_EQ(timeOf("09 00 01 00 81 00 00 00", "00 00 00 00 03 00 00 00"), 1'500'000'000u); // halves of a second
    EXPECT_EQ(timeOf("09 00 01 00 C0 00 00 00", "00 00 00 80 00 00 00 00"), 0u);             // of 64 bits and more
    EXPECT_EQ(timeOf("09 00 01 00 00 00 00 00", "FF FF FF FF FF FF FF FF"), 0xFFFFFFFFFFFFFFFFu);
    // An offset in seconds: 2, −2, −1 with 7 µs to take it from.
    EXPECT_EQ(timeOf("0E 00 08 00 02 00 00 00 00 00 00 00", "00 00 00 00 07 00 00 00"), 2'000'007'000u);
    EXPECT_EQ(timeOf("0E 00 08 00 FF FF FF FF FF FF FF FF", "00 00 00 00 80 96 98 00"), 9'000'000'000u);
    EXPECT_EQ(timeOf("0E 00 08 00 FE FF FF FF FF FF FF FF", "00 00 00 00 07 00 00 00"), 0u);
    EXPECT_EQ(timeOf("0E 00 08 00 FF FF FF FF FF FF FF 7F", "00 00 00 00 07 00 00 00"), 0xFFFFFFFFFFFFFFFFu);
}

TEST(PcapngReader, SaysWhereItCannotGoOn) {
    EXPECT_EQ(problemOf({"4D 5A 90 00 03 00 00 00 04 00 00 00"}), "at byte 0: this is no pcapng file");
    EXPECT_EQ(problemOf({"0A 0D 0D 0A 1C 00 00 00 00 00 00 00"}), "at byte 0: a section in no known order of bytes");
    EXPECT_EQ(problemOf({section, "06 00 00 00 08 00 00 00 00 00 00 00"}), "at byte 40: a block of 8 bytes");
    EXPECT_EQ(problemOf({section, "06 00 00 00 0E 00 00 00 00 00 00 00"}), "at byte 40: a block of 14 bytes");
    EXPECT_EQ(problemOf({section, "06 00 00 00 04 00 00 01 00 00 00 00"}), "at byte 40: a block of 16777220 bytes");
    EXPECT_EQ(problemOf({section, "05 00 00 00 0C 00 00 00 10 00 00 00"}), "at byte 40: a block with two lengths");
    EXPECT_EQ(problemOf({section, bare}), "at byte 40: a packet of interface 0, which is not there");
    EXPECT_EQ(problemOf({section, "01 00 00 00 10 00 00 00 93 00 00 00 10 00 00 00"}),
              "at byte 40: an interface that ends early");
    EXPECT_EQ(problemOf({section, line, "06 00 00 00 10 00 00 00 00 00 00 00 10 00 00 00"}),
              "at byte 100: a packet that ends early");
    // 5 bytes are captured, 4 are there; an option of 9 bytes in 4.
    EXPECT_EQ(problemOf({section, line,
                         "06 00 00 00 24 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 05 00 00 00 05 00 00 00 01 02 03 "
                         "04 24 00 00 00"}),
              "at byte 100: a packet that ends early");
    EXPECT_EQ(problemOf({section, line,
                         "06 00 00 00 28 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 01 00 09 "
                         "00 41 41 41 41 28 00 00 00"}),
              "at byte 100: a packet that ends early");
    EXPECT_EQ(problemOf({section, "03 00 00 00 10 00 00 00 00 00 00 00 10 00 00 00"}),
              "at byte 40: a packet that ends early");
}

TEST(PcapngReader, KeepsNoMoreInterfacesThanARecordingHas) {
    ByteArray file = bytes(section);
    const ByteArray one = bytes("01 00 00 00 14 00 00 00 93 00 00 00 00 00 00 00 14 00 00 00");
    for (int i = 0; i < 4097; ++i) file.insert(file.end(), one.begin(), one.end());
    std::string problem;
    packetsOf(file, &problem);
    EXPECT_EQ(problem, "at byte 81960: too many interfaces"); // 40 + 4096 times 20
}

// Whatever a file holds, in whatever pieces: it comes to an end, with no more packets than blocks fit, and the pieces
// make no difference.
TEST(PcapngReader, ComesToAnEndWithAnyBytes) {
    holds("random bytes behind and in place of good ones", [] {
        ByteArray file = join({section, line, said, bare, section, line, said});
        const auto changes = *rc::gen::container<std::vector<std::pair<size_t, unsigned char>>>(
            rc::gen::pair(rc::gen::inRange<size_t>(40, file.size()), rc::gen::arbitrary<unsigned char>()));
        for (const auto& [where, what] : changes) file[where] = what;
        file = file + *bytesUpTo(60);
        PcapngReader whole;
        whole.append(file.data(), file.size());
        const auto packets = readAll(whole);
        RC_ASSERT(packets.size() <= file.size() / 12);
        const size_t step = *rc::gen::inRange<size_t>(1, 50);
        PcapngReader pieces;
        size_t count = 0;
        for (size_t at = 0; at < file.size(); at += step) {
            const ByteArray piece = slice(file, at, std::min(at + step, file.size()));
            pieces.append(piece.data(), piece.size());
            count += readAll(pieces).size();
        }
        RC_ASSERT(count == packets.size());
        RC_ASSERT(pieces.problem() == whole.problem());
    });
}
