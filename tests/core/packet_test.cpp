// Reading single packets: getters, verification, and the search for the start mark.
#include <gtest/gtest.h>

#include <hostlink/HostLinkLib.h>

#include "support/AtPageEnd.h"
#include "support/Bytes.h"
#include "support/StaysAlive.h"

namespace {

constexpr uint32_t responseType = 0;
constexpr uint32_t resetType = 1;
constexpr uint32_t irqType = 2;
constexpr uint32_t messageType = 3;

uint32_t verify(const ByteArray& packet) {
    const ExactBytes block(packet);
    return hostLinkPacketVerify(block.data(), block.size16());
}

uint32_t hasSop(const ByteArray& stream) {
    const ExactBytes block(stream);
    return hostLinkPacketHasSop(block.data(), block.size16());
}

uint32_t frameType(const ByteArray& packet) {
    const ExactBytes block(packet);
    return hostLinkPacketGetFrameType(block.data());
}

} // namespace

// ---- the fixed numbers

TEST(PacketConstants, HaveTheirWireValues) {
    EXPECT_EQ(HOSTLINK_SOP, 0xFEFF);
    EXPECT_EQ(HOSTLINK_NO_SOP, 0xFFFFFFFFu);
    EXPECT_EQ(PKT_Last, 0x20);
    EXPECT_EQ(PKT_Nack, 0x40);
    EXPECT_EQ(PKT_Ack, 0x80);
    EXPECT_EQ(FMT_Reset, 1u);
    EXPECT_EQ(FMT_Irq, 2u);
    EXPECT_EQ(FMT_Message, 3u);
    EXPECT_EQ(static_cast<int>(AcknowledgeType::None), 0);
    EXPECT_EQ(static_cast<int>(AcknowledgeType::Nack), 1);
    EXPECT_EQ(static_cast<int>(AcknowledgeType::Ack), 2);
    EXPECT_EQ(static_cast<int>(AcknowledgeType::AckNack), 3);
    static_assert(sizeof(LinkPacketCtrlFlags) == 1 && sizeof(AcknowledgeType) == 1, "one byte on the wire");
    static_assert(sizeof(MessageId) == 2 && sizeof(Encoding) == 1, "widths of the wire");
}

TEST(PacketConstants, ResultCodesHaveTheirNumbers) {
    EXPECT_EQ(HOSTLINK_SUCCESS, 0);
    EXPECT_EQ(HOSTLINK_NO_MORE_ITEMS, 1);
    EXPECT_EQ(HOSTLINK_TOO_SHORT, 10);
    EXPECT_EQ(HOSTLINK_BAD_START_OF_PACKET, 11);
    EXPECT_EQ(HOSTLINK_NOT_INITIALIZED, 13);
    EXPECT_EQ(HOSTLINK_NO_ROOM, 16);
    EXPECT_EQ(HOSTLINK_ITEM_COUNT_FULL, 17);
    EXPECT_EQ(HOSTLINK_MESSAGE_ID_OUT_OF_RANGE, 18);
    EXPECT_EQ(HOSTLINK_MESSAGE_ID_WRONG_KIND, 19);
    EXPECT_EQ(HOSTLINK_BAD_ENCODING, 20);
    EXPECT_EQ(HOSTLINK_TRUNCATED, 21);
    EXPECT_EQ(HOSTLINK_HEADER_TRUNCATED, 22);
    EXPECT_EQ(HOSTLINK_NO_STORAGE, 24);
}

// ---- getters

TEST(PacketGetters, ReadEveryHeaderFieldAtItsOffset) {
    const ExactBytes packet("12 34 56 78 9A BC DE F0");
    EXPECT_EQ(hostLinkPacketGetSop(packet.data()), 0x3412);
    EXPECT_EQ(hostLinkPacketGetLength(packet.data()), 0x7856);
    EXPECT_EQ(hostLinkPacketGetFlags(packet.data()), 0x9A);
    EXPECT_EQ(hostLinkPacketGetFrameId(packet.data()), 0xBC);
    EXPECT_EQ(hostLinkPacketGetPacketId(packet.data()), 0xDE);
}

TEST(PacketGetters, ReadFieldsOfAnUnalignedPacket) {
    for (size_t offset = 0; offset < 8; ++offset) {
        const ExactBytes block(ByteArray(offset, 0xEE) + bytes("FF FE 0C 01 23 05 06 00"));
        const uint8_t* packet = block.data() + offset;
        EXPECT_EQ(hostLinkPacketGetSop(packet), 0xFEFF) << offset;
        EXPECT_EQ(hostLinkPacketGetLength(packet), 0x010C) << offset;
        EXPECT_EQ(hostLinkPacketGetFrameType(packet), messageType) << offset;
    }
}

TEST(PacketIsLast, IsBitFiveOfTheFlags) {
    for (unsigned flags = 0; flags < 256; ++flags) {
        ExactBytes packet("FF FE 08 00 00 00 00 00");
        packet[4] = static_cast<uint8_t>(flags);
        EXPECT_EQ(hostLinkPacketIsLast(packet.data()), (flags & 0x20) != 0 ? 1 : 0) << flags;
    }
}

TEST(PacketGetData, GivesNothingForAHeaderOnlyPacket) {
    const ExactBytes packet("FF FE 08 00 A3 05 00 00");
    uint16_t length = 99;
    EXPECT_EQ(hostLinkPacketGetData(packet.data(), &length), nullptr);
    EXPECT_EQ(length, 0);
}

TEST(PacketGetData, GivesOffsetEightAndLengthMinusTen) {
    struct Row {
        const char* header;
        uint16_t payload;
    };
    const Row rows[] = {
        {"FF FE 0B 00 23 05 00 00", 1},     {"FF FE 0E 00 22 05 00 00", 4},     {"FF FE 40 00 03 05 00 00", 54},
        {"FF FE 00 01 03 05 00 00", 246},   {"FF FE FF FF 03 05 00 00", 65525}, {"FF FE 0A 00 03 05 00 00", 0},
        {"FF FE 09 00 03 05 00 00", 65535}, // a length that never verifies wraps in 16 bits
    };
    for (const Row& row : rows) {
        const ExactBytes packet{std::string(row.header)};
        uint16_t length = 99;
        EXPECT_EQ(hostLinkPacketGetData(packet.data(), &length), packet.data() + 8) << row.header;
        EXPECT_EQ(length, row.payload) << row.header;
    }
}

// ---- frame type

TEST(PacketFrameType, IsTheFormatExceptForAHeaderOnlyMessage) {
    struct Row {
        const char* packet;
        uint32_t type;
    };
    const Row rows[] = {
        {"FF FE 08 00 23 05 00 00", responseType},
        {"FF FE 08 00 A3 05 00 00", responseType},
        {"FF FE 08 00 63 05 00 00", responseType},
        {"FF FE 08 00 E3 05 00 00", responseType},
        {"FF FE 08 00 03 05 00 00", responseType},
        {"FF FE 08 00 FB 05 00 00", responseType},
        {"FF FE 0C 00 23 05 00 00", messageType},
        {"FF FE 07 00 23 05 00 00", messageType},
        {"FF FE 09 00 23 05 00 00", messageType},
        {"FF FE 08 01 23 05 00 00", messageType},
        {"FF FE 00 08 23 05 00 00", messageType},
        {"FF FE 08 00 21 01 00 00", resetType},
        {"FF FE 0E 00 22 01 00 00", irqType},
        {"FF FE 08 00 22 01 00 00", irqType},
        {"FF FE 08 00 20 01 00 00", 0},
        {"FF FE 0C 00 20 01 00 00", 0},
        {"FF FE 0C 00 24 01 00 00", 4},
        {"FF FE 0C 00 E5 01 00 00", 5},
        {"FF FE 08 00 06 01 00 00", 6},
        {"FF FE 08 00 FF 01 00 00", 7},
    };
    for (const Row& row : rows) EXPECT_EQ(frameType(bytes(row.packet)), row.type) << row.packet;
}

TEST(PacketFrameType, OfEightBytesWithFlags23IsResponseWithNoneAndOfFlagsA3Ack) {
    const ExactBytes none("FF FE 08 00 23 05 00 00");
    EXPECT_EQ(hostLinkPacketVerify(none.data(), 8), 0u);
    EXPECT_EQ(hostLinkPacketGetFrameType(none.data()), responseType);
    EXPECT_EQ(hostLinkPacketGetFrameId(none.data()), 5);
    EXPECT_EQ(hostLinkFrameRspDeserialize(none.data()), AcknowledgeType::None);
    const ExactBytes ack("FF FE 08 00 A3 05 00 00");
    EXPECT_EQ(hostLinkFrameRspDeserialize(ack.data()), AcknowledgeType::Ack);
}

TEST(PacketFrameType, OfFlags23AndLengthTwelveIsMessage) {
    EXPECT_EQ(frameType(bytes("FF FE 0C 00 23 05 00 00 01 02 00 00")), messageType);
}

// ---- verification

TEST(PacketVerify, RefusesFewerThanEightBytesEvenOfAGoodHeader) {
    const ByteArray good = bytes("FF FE 08 00 23 05 00 00");
    for (size_t count = 0; count < 8; ++count) EXPECT_EQ(verify(slice(good, 0, count)), 22u) << count;
    EXPECT_EQ(verify(good), 0u);
}

TEST(PacketVerify, RefusesLengthsThatNoPacketHas) {
    for (unsigned length = 0; length <= 300; ++length) {
        ByteArray packet(400, 0);
        packet[0] = 0xFF;
        packet[1] = 0xFE;
        packet[2] = static_cast<unsigned char>(length & 0xFF);
        packet[3] = static_cast<unsigned char>(length >> 8);
        const bool impossible = length < 8 || length == 9 || length == 10;
        EXPECT_EQ(verify(packet), impossible ? 10u : 0u) << length;
    }
}

TEST(PacketVerify, RefusesAPacketThatEndsBeforeItsLength) {
    struct Row {
        const char* name;
        const char* header;
        size_t available;
        uint32_t code;
    };
    const Row rows[] = {
        {"length 20, 19 at hand", "FF FE 14 00 03 00 00 00", 19, 21},
        {"length 20, all at hand", "FF FE 14 00 03 00 00 00", 20, 0},
        {"length 20, one more at hand", "FF FE 14 00 03 00 00 00", 21, 0},
        {"length 11, only the header", "FF FE 0B 00 03 00 00 00", 8, 21},
        {"length 11, 10 at hand", "FF FE 0B 00 03 00 00 00", 10, 21},
        {"length 11, all at hand", "FF FE 0B 00 03 00 00 00", 11, 0},
        {"length 256, 255 at hand", "FF FE 00 01 03 00 00 00", 255, 21},
        {"length 256, all at hand", "FF FE 00 01 03 00 00 00", 256, 0},
        {"length 65535, 65534 at hand", "FF FE FF FF 03 00 00 00", 65534, 21},
        {"length 65535, all at hand", "FF FE FF FF 03 00 00 00", 65535, 0},
    };
    for (const Row& row : rows) {
        ByteArray packet = bytes(row.header);
        packet.resize(row.available);
        EXPECT_EQ(verify(packet), row.code) << row.name;
    }
}

TEST(PacketVerify, RefusesAnotherStartThanFFFE) {
    const char* starts[] = {"FE FF", "FF FF", "FE FE", "00 00", "FF FD", "FE 00", "00 FE", "FF 00"};
    for (const char* start : starts) {
        EXPECT_EQ(verify(bytes(start) + bytes("08 00 23 05 00 00")), 11u) << start;
        EXPECT_EQ(verify(bytes(start) + bytes("0C 00 23 05 00 00 01 02 00 00")), 11u) << start;
    }
}

TEST(PacketVerify, ReportsTheFirstCheckThatFails) {
    struct Row {
        const char* name;
        const char* packet;
        uint32_t code;
    };
    const Row rows[] = {
        {"short header before impossible length", "FE FF 00 00 00 00 00", 22},
        {"short header before missing bytes and start", "00 00 FF FF 00 00 00", 22},
        {"impossible length before start", "FE FF 07 00 00 00 00 00", 10},
        {"impossible length 9 before missing bytes and start", "FE FF 09 00 00 00 00 00", 10},
        {"impossible length 10 before missing bytes and start", "FE FF 0A 00 00 00 00 00", 10},
        {"missing bytes before start", "FE FF 0B 00 00 00 00 00", 21},
        {"start last", "FE FF 08 00 00 00 00 00", 11},
    };
    for (const Row& row : rows) EXPECT_EQ(verify(bytes(row.packet)), row.code) << row.name;
}

TEST(PacketVerify, DoesNotLookAtFlagsIdsPaddingPayloadAndTrailer) {
    EXPECT_EQ(verify(bytes("FF FE 08 00 FF FF FF FF")), 0u);
    EXPECT_EQ(verify(bytes("FF FE 08 00 00 00 00 00")), 0u);
    EXPECT_EQ(verify(bytes("FF FE 0B 00 F8 FF FF FF 55 AA 55")), 0u);
    for (unsigned flags = 0; flags < 256; ++flags) {
        ByteArray packet = bytes("FF FE 08 00 00 01 02 03");
        packet[4] = static_cast<unsigned char>(flags);
        EXPECT_EQ(verify(packet), 0u) << flags;
    }
}

TEST(PacketVerify, AcceptsBytesBeyondThePacket) {
    EXPECT_EQ(verify(bytes("FF FE 08 00 23 05 00 00 FF FE 00 00")), 0u);
}

// ---- search for the start mark

TEST(PacketHasSop, FindsTheFirstMark) {
    struct Row {
        const char* stream;
        uint32_t offset;
    };
    const uint32_t none = 0xFFFFFFFFu;
    const Row rows[] = {
        {"", none},
        {"FF", none},
        {"FE", none},
        {"FE FF", none},
        {"FF FF", none},
        {"FE FE", none},
        {"FF FE", 0},
        {"00 FF FE", 1},
        {"FF FF FE", 1},
        {"00 00 FF", none}, // the last byte never starts a mark
        {"FF 00 FE", none},
        {"FE FF FE FF FE", 1},
        {"FF FE FF FE", 0},
        {"FF FF FF FF FF FF FF FF FE", 7},
        {"FF FF FF FF FF FF FF FF FF", none},
        {"00 01 02 03 04 05 06 FF FE 09", 7},
        {"00 01 02 03 04 05 06 07 FF FE", 8},
        {"FE FE FE FE FE FE FE FE FF FE", 8},
    };
    for (const Row& row : rows) EXPECT_EQ(hasSop(bytes(row.stream)), row.offset) << "stream: " << row.stream;
}

TEST(PacketHasSopDeathTest, ReadsNothingBehindItsCount) {
    for (const size_t count : {0u, 1u, 2u, 7u, 8u, 9u, 15u, 16u, 17u, 64u}) {
        AtPageEnd stream(ByteArray(count, 0));
        EXPECT_STAYS_ALIVE(hostLinkPacketHasSop(stream.data(), static_cast<uint16_t>(count))) << count;
    }
}

TEST(PacketHasSop, DoesNotLookBehindItsCount) {
    const ExactBytes stream("00 FF FE");
    EXPECT_EQ(hostLinkPacketHasSop(stream.data(), 3), 1u);
    EXPECT_EQ(hostLinkPacketHasSop(stream.data(), 2), 0xFFFFFFFFu);
    EXPECT_EQ(hostLinkPacketHasSop(stream.data(), 1), 0xFFFFFFFFu);
    EXPECT_EQ(hostLinkPacketHasSop(stream.data(), 0), 0xFFFFFFFFu);
}

// One bound for each way through the search: a mark right at the start, one behind some bytes, one behind many.
TEST(PacketHasSop, MissesAMarkOfWhichOnlyTheFirstByteIsCounted) {
    for (const size_t before : {0u, 1u, 5u, 7u, 8u, 9u, 15u, 16u, 17u, 64u, 300u}) {
        const ExactBytes stream(ByteArray(before, 0) + bytes("FF FE"));
        EXPECT_EQ(hostLinkPacketHasSop(stream.data(), static_cast<uint16_t>(before + 1)), 0xFFFFFFFFu) << before;
        EXPECT_EQ(hostLinkPacketHasSop(stream.data(), static_cast<uint16_t>(before + 2)), before) << before;
    }
}

TEST(PacketHasSop, SearchesTheLongestStream) {
    ByteArray stream(65535, 0xFF);
    EXPECT_EQ(hasSop(stream), 0xFFFFFFFFu);
    stream[65534] = 0xFE;
    EXPECT_EQ(hasSop(stream), 65533u);
    stream[1] = 0xFE;
    EXPECT_EQ(hasSop(stream), 0u);
}

namespace {

/// The search as a loop over every offset: what the fast one is compared with.
uint32_t naiveHasSop(const uint8_t* stream, size_t count) {
    for (size_t i = 0; i + 1 < count; ++i) {
        if (stream[i] == 0xFF && stream[i + 1] == 0xFE) return static_cast<uint32_t>(i);
    }
    return 0xFFFFFFFFu;
}

/// Compares both searches over `stream` at eight starts, so that every alignment occurs, in blocks that end where the
/// stream ends.
::testing::AssertionResult searchesAgree(const ByteArray& stream) {
    const uint32_t expected = naiveHasSop(stream.data(), stream.size());
    for (size_t start = 0; start < 8; ++start) {
        // A mark that begins in front of the stream, or ends behind it, must not be seen.
        const ExactBytes block(ByteArray(start, 0xFF) + stream);
        const uint32_t found = hostLinkPacketHasSop(block.data() + start, static_cast<uint16_t>(stream.size()));
        if (found != expected) {
            return ::testing::AssertionFailure()
                   << "found " << found << " instead of " << expected << " at start " << start << " in " << hex(stream);
        }
    }
    return ::testing::AssertionSuccess();
}

constexpr size_t longestStream = 80; // several machine words and vector registers, and every remainder of them

} // namespace

TEST(PacketHasSop, AgreesWithALoopForAMarkAtEveryOffsetOfEveryLength) {
    const unsigned char fillers[] = {0x00, 0xFF, 0xFE, 0x7F, 0x80, 0xFD, 0x01};
    for (size_t length = 0; length <= longestStream; ++length) {
        for (const unsigned char filler : fillers) {
            ASSERT_TRUE(searchesAgree(ByteArray(length, filler)));
            for (size_t offset = 0; offset < length; ++offset) {
                ByteArray stream(length, filler);
                stream[offset] = 0xFF;
                if (offset + 1 < length) stream[offset + 1] = 0xFE;
                ASSERT_TRUE(searchesAgree(stream));
            }
        }
    }
}

TEST(PacketHasSop, AgreesWithALoopForARunOfFFBeforeAndBehindTheMark) {
    for (size_t length = 2; length <= longestStream; ++length) {
        for (size_t run = 0; run < length; ++run) {
            // 00 .. 00 FF .. FF FE 00 .. : the mark is the last FF of the run with the FE behind it.
            ByteArray stream(length, 0x00);
            for (size_t i = length / 3; i < length && i < length / 3 + run; ++i) stream[i] = 0xFF;
            if (length / 3 + run < length) stream[length / 3 + run] = 0xFE;
            ASSERT_TRUE(searchesAgree(stream));
            // FE .. FE FF FE .. with a lone FF at the end.
            ByteArray other(length, 0xFE);
            other[run] = 0xFF;
            other[length - 1] = 0xFF;
            ASSERT_TRUE(searchesAgree(other));
        }
    }
}

TEST(PacketHasSop, AgreesWithALoopForStreamsOfHalfAndWholeMarks) {
    // Every stream of up to ten bytes out of FF, FE and 00.
    const unsigned char alphabet[] = {0xFF, 0xFE, 0x00};
    size_t streams = 1;
    for (size_t length = 0; length <= 10; ++length, streams *= 3) {
        for (size_t number = 0; number < streams; ++number) {
            ByteArray stream;
            for (size_t i = 0, rest = number; i < length; ++i, rest /= 3) stream.push_back(alphabet[rest % 3]);
            const ExactBytes block(stream);
            ASSERT_EQ(hostLinkPacketHasSop(block.data(), block.size16()), naiveHasSop(stream.data(), length))
                << hex(stream);
        }
    }
}
