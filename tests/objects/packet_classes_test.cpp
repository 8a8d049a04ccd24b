// The classes over packets and frames.
#include <climits>
#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkIrqFrame.h>
#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>
#include <hostlink/HostLinkRstFrame.h>

#include "support/Bytes.h"
#include "support/Packets.h"

namespace {

#include "vectors/message_packets.inc"

/// The store's size of a frame that holds payload: the first shrinking that cuts the payload shows it.
size_t storeSize(const HostLinkFrame& frame) {
    const size_t size = frame.data().size();
    for (int steps = 1;; ++steps) {
        HostLinkFrame shrunk(frame);
        shrunk.resize(-steps);
        const size_t left = shrunk.data().size();
        if (left < size) return left + 2 * static_cast<size_t>(steps);
    }
}

/// Packets that fail to verify, one for each check.
const char* const badPackets[] = {
    "",
    "FF FE 08",
    "FF FE 08 00 23 05 00",
    "FF FE 07 00 23 05 00 00",
    "FF FE 0A 00 23 05 00 00 00 00",
    "FF FE 0B 00 23 05 00 00 55 00",
    "FE FF 08 00 23 05 00 00",
};

} // namespace

// ---- packets

TEST(Packet, VerifiesAsTheCoreDoes) {
    EXPECT_TRUE(HostLinkPacket::verify(bytes("FF FE 08 00 23 05 00 00")));
    EXPECT_TRUE(HostLinkPacket::verify(bytes("FF FE 0B 00 23 05 00 00 55 00 00")));
    EXPECT_TRUE(HostLinkPacket::verify(bytes("FF FE 0B 00 23 05 00 00 55 00 00 AA BB")));
    for (const char* packet : badPackets) EXPECT_FALSE(HostLinkPacket::verify(bytes(packet))) << packet;
}

TEST(Packet, CountsItsBytesInSixteenBits) {
    ByteArray packet = bytes("FF FE 08 00 23 05 00 00");
    packet.resize(65536);
    EXPECT_FALSE(HostLinkPacket::verify(packet)); // counted as 0
    packet.resize(65536 + 7);
    EXPECT_FALSE(HostLinkPacket::verify(packet));
    packet.resize(65536 + 8);
    EXPECT_TRUE(HostLinkPacket::verify(packet));
    packet.resize(65535);
    EXPECT_TRUE(HostLinkPacket::verify(packet));
}

TEST(Packet, TellsFrameTypeIdAndLast) {
    struct Row {
        const char* packet;
        int type;
        int frameId;
        bool last;
    };
    const Row rows[] = {
        {"FF FE 08 00 A3 05 00 00", 0, 5, true},
        {"FF FE 08 00 03 06 00 00", 0, 6, false},
        {"FF FE 08 00 21 FF 00 00", 1, 255, true},
        {"FF FE 0E 00 22 07 00 00 78 56 34 12 00 00", 2, 7, true},
        {"FF FE 0B 00 03 80 00 00 55 00 00", 3, 128, false},
        {"FF FE 0C 00 23 01 00 00 55 66 00 00", 3, 1, true},
        {"FF FE 08 00 1F 01 00 00", 7, 1, false},
        {"FF FE 08 00 E0 01 00 00", 0, 1, true},
    };
    for (const Row& row : rows) {
        const ByteArray packet = bytes(row.packet);
        bool ok = false;
        EXPECT_EQ(HostLinkPacket::frameType(packet, &ok), row.type) << row.packet;
        EXPECT_TRUE(ok) << row.packet;
        ok = false;
        EXPECT_EQ(HostLinkPacket::frameId(packet, &ok), row.frameId) << row.packet;
        EXPECT_TRUE(ok) << row.packet;
        ok = false;
        EXPECT_EQ(HostLinkPacket::isLast(packet, &ok), row.last) << row.packet;
        EXPECT_TRUE(ok) << row.packet;
        EXPECT_EQ(HostLinkPacket::frameType(packet, nullptr), row.type) << row.packet;
        EXPECT_EQ(HostLinkPacket::frameId(packet, nullptr), row.frameId) << row.packet;
        EXPECT_EQ(HostLinkPacket::isLast(packet, nullptr), row.last) << row.packet;
    }
}

TEST(Packet, ThatFailsToVerifyReadsAsResponseZeroAndLast) {
    for (const char* text : badPackets) {
        const ByteArray packet = bytes(text);
        bool ok = true;
        EXPECT_EQ(HostLinkPacket::frameType(packet, &ok), 0) << text;
        EXPECT_FALSE(ok) << text;
        ok = true;
        EXPECT_EQ(HostLinkPacket::frameId(packet, &ok), 0) << text;
        EXPECT_FALSE(ok) << text;
        ok = true;
        EXPECT_TRUE(HostLinkPacket::isLast(packet, &ok)) << text;
        EXPECT_FALSE(ok) << text;
    }
}

TEST(Packet, OfFourBytesReadsAsLast) {
    bool ok = true;
    EXPECT_TRUE(HostLinkPacket::isLast(bytes("FF FE 0B 00"), &ok));
    EXPECT_FALSE(ok);
}

TEST(Packet, IsReadAsItStandsWithoutAFlagToReport) {
    // Declared length 20, wrong start: neither matters.
    const ByteArray packet = bytes("00 00 14 00 02 09 00 00");
    EXPECT_EQ(HostLinkPacket::frameType(packet, nullptr), 2);
    EXPECT_EQ(HostLinkPacket::frameId(packet, nullptr), 9);
    EXPECT_FALSE(HostLinkPacket::isLast(packet, nullptr));
    EXPECT_TRUE(HostLinkPacket::isLast(bytes("00 00 14 00 22 09 00 00"), nullptr));
    EXPECT_EQ(HostLinkPacket::frameType(bytes("00 00 08 00 23 09 00 00")), 0);
    EXPECT_EQ(HostLinkPacket::frameType(bytes("00 00 09 00 23 09 00 00")), 3);
}

TEST(Packet, OfFewerThanEightBytesReadsAsNothingWithoutAFlagToReport) {
    const ByteArray whole = bytes("FF FE 08 00 02 09 00 00");
    for (size_t count = 0; count < 8; ++count) {
        const ByteArray packet = slice(whole, 0, count);
        EXPECT_EQ(HostLinkPacket::frameType(packet, nullptr), 0) << count;
        EXPECT_EQ(HostLinkPacket::frameId(packet, nullptr), 0) << count;
        EXPECT_TRUE(HostLinkPacket::isLast(packet, nullptr)) << count;
    }
}

// ---- response frames

TEST(RspFrame, IsMadeAndParsed) {
    struct Row {
        AcknowledgeType type;
        const char* frame;
    };
    const Row rows[] = {
        {AcknowledgeType::None, "FF FE 08 00 23 05 00 00"},
        {AcknowledgeType::Nack, "FF FE 08 00 63 05 00 00"},
        {AcknowledgeType::Ack, "FF FE 08 00 A3 05 00 00"},
        {AcknowledgeType::AckNack, "FF FE 08 00 E3 05 00 00"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(hex(HostLinkRspFrame::create(5, row.type)), row.frame);
        bool ok = false;
        EXPECT_EQ(HostLinkRspFrame::parse(bytes(row.frame), &ok), row.type) << row.frame;
        EXPECT_TRUE(ok) << row.frame;
        EXPECT_EQ(HostLinkPacket::frameType(bytes(row.frame), &ok), 0) << row.frame;
    }
}

TEST(RspFrame, OfAnUnknownTypeIsNone) {
    EXPECT_EQ(hex(HostLinkRspFrame::create(255, static_cast<AcknowledgeType>(4))), "FF FE 08 00 23 FF 00 00");
}

TEST(RspFrame, FailsToParseWhenThePacketFailsToVerify) {
    for (const char* packet : badPackets) {
        bool ok = true;
        EXPECT_EQ(HostLinkRspFrame::parse(bytes(packet), &ok), AcknowledgeType::None) << packet;
        EXPECT_FALSE(ok) << packet;
    }
    bool ok = true;
    EXPECT_EQ(HostLinkRspFrame::parse(bytes("FF FE 08 00 A3 05 00"), &ok), AcknowledgeType::None);
    EXPECT_FALSE(ok);
}

TEST(RspFrame, ThatFailsToVerifyIsNoneWhateverItsBitsSay) {
    // Flags 63, A3 and E3: nack, ack, both.
    for (const char* flags : {"63", "A3", "E3"}) {
        const std::string text(flags);
        const ByteArray frames[] = {
            bytes("FF FE 08 00 " + text + " 05 00"),          // a byte short
            bytes("FF FE 07 00 " + text + " 05 00 00"),       // a length below the header's
            bytes("FF FE 09 00 " + text + " 05 00 00 00"),    // no length of a packet
            bytes("FF FE 0A 00 " + text + " 05 00 00 00 00"), // nor this
            bytes("FF FE 0B 00 " + text + " 05 00 00 55 00"), // a byte fewer than declared
            bytes("FE FF 08 00 " + text + " 05 00 00"),       // the start mark the wrong way round
            bytes("FF FF 08 00 " + text + " 05 00 00"),       // half a start mark
        };
        for (const ByteArray& frame : frames) {
            bool ok = true;
            EXPECT_EQ(HostLinkRspFrame::parse(frame, &ok), AcknowledgeType::None) << hex(frame);
            EXPECT_FALSE(ok) << hex(frame);
        }
    }
}

TEST(RspFrame, DoesNotLookAtTheFrameType) {
    struct Row {
        const char* packet;
        AcknowledgeType type;
    };
    const Row rows[] = {
        {"FF FE 08 00 21 01 00 00", AcknowledgeType::None},
        {"FF FE 0E 00 22 07 00 00 78 56 34 12 00 00", AcknowledgeType::None},
        {"FF FE 0B 00 83 05 00 00 55 00 00", AcknowledgeType::Ack},
        {"FF FE 08 00 40 05 00 00", AcknowledgeType::Nack},
    };
    for (const Row& row : rows) {
        bool ok = false;
        EXPECT_EQ(HostLinkRspFrame::parse(bytes(row.packet), &ok), row.type) << row.packet;
        EXPECT_TRUE(ok) << row.packet;
    }
}

TEST(RspFrame, HasAtLeastEightBytes) {
    EXPECT_EQ(HostLinkRspFrame::minFrameSize(), 8);
}

// ---- IRQ frames

TEST(IrqFrame, IsMadeAndParsed) {
    EXPECT_EQ(hex(HostLinkIrqFrame::create(7, 0x12345678)), "FF FE 0E 00 22 07 00 00 78 56 34 12 00 00");
    EXPECT_EQ(hex(HostLinkIrqFrame::create(255, 0xFFFFFFFF)), "FF FE 0E 00 22 FF 00 00 FF FF FF FF 00 00");
    bool ok = false;
    EXPECT_EQ(HostLinkIrqFrame::parse(bytes("FF FE 0E 00 22 07 00 00 78 56 34 12 00 00"), &ok), 0x12345678u);
    EXPECT_TRUE(ok);
    ok = false;
    EXPECT_EQ(HostLinkIrqFrame::parse(bytes("FF FE 0E 00 22 07 00 00 01 00 00 00 00 00"), &ok), 1u);
    EXPECT_TRUE(ok);
}

TEST(IrqFrame, OfValueZeroFailsToParse) {
    EXPECT_EQ(hex(HostLinkIrqFrame::create(2, 0)), "FF FE 0E 00 22 02 00 00 00 00 00 00 00 00");
    bool ok = true;
    EXPECT_EQ(HostLinkIrqFrame::parse(HostLinkIrqFrame::create(2, 0), &ok), 0u);
    EXPECT_FALSE(ok);
}

TEST(IrqFrame, FailsToParseWhenThePacketFailsToVerify) {
    for (const char* packet : badPackets) {
        bool ok = true;
        EXPECT_EQ(HostLinkIrqFrame::parse(bytes(packet), &ok), 0u) << packet;
        EXPECT_FALSE(ok) << packet;
    }
    bool ok = true;
    EXPECT_EQ(HostLinkIrqFrame::parse(bytes("FE FF 0E 00 22 07 00 00 78 56 34 12 00 00"), &ok), 0u);
    EXPECT_FALSE(ok);
}

TEST(IrqFrame, FailsToParseBelowFourteenBytes) {
    for (const char* packet : {"FF FE 08 00 22 07 00 00", "FF FE 0D 00 22 07 00 00 78 56 34 00 00"}) {
        bool ok = true;
        EXPECT_EQ(HostLinkIrqFrame::parse(bytes(packet), &ok), 0u) << packet;
        EXPECT_FALSE(ok) << packet;
    }
}

TEST(IrqFrame, DoesNotLookAtTheFrameTypeOrItsLength) {
    bool ok = false;
    EXPECT_EQ(HostLinkIrqFrame::parse(bytes("FF FE 0E 00 23 07 00 00 78 56 34 12 00 00"), &ok), 0x12345678u);
    EXPECT_TRUE(ok);
    ok = false;
    EXPECT_EQ(HostLinkIrqFrame::parse(bytes("FF FE 08 00 22 07 00 00 78 56 34 12 00 00"), &ok), 0x12345678u);
    EXPECT_TRUE(ok);
}

// ---- reset frames

TEST(RstFrame, IsMade) {
    EXPECT_EQ(hex(HostLinkRstFrame::create(1)), "FF FE 08 00 21 01 00 00");
    EXPECT_EQ(hex(HostLinkRstFrame::create(255)), "FF FE 08 00 21 FF 00 00");
}

// ---- outgoing message frames

TEST(MsgFrame, WritesThePacketsThatAnIndependentProgramWrites) {
    for (const MessagePacketVector& row : messagePacketVectors) {
        ByteArray expected = bytes(row.packet);
        expected[4] = static_cast<unsigned char>(expected[4] & 0x7F); // this class never asks for an ack
        const HostLinkMsgFrame frame(patternBytes(row.messageLength), row.frameId, row.maxPacketSize);
        EXPECT_EQ(hex(frame.serializePacket(row.index)), hex(expected)) << row.name;
    }
}

TEST(MsgFrame, UsesPacketsOf64BytesWhenTheSizeIsZeroOrLess) {
    const ByteArray message = patternBytes(100);
    for (const int maxPacketSize : {0, -1, -64, INT_MIN}) {
        const HostLinkMsgFrame frame(message, 3, maxPacketSize);
        EXPECT_EQ(frame.packetCount(), 2) << maxPacketSize;
        EXPECT_EQ(hex(frame.serializePacket(0)),
                  hex(bytes("FF FE 40 00 03 03 00 00") + slice(message, 0, 54) + bytes("00 00")));
        EXPECT_EQ(hex(frame.serializePacket(1)),
                  hex(bytes("FF FE 38 00 23 03 01 00") + slice(message, 54, 100) + bytes("00 00")));
        EXPECT_TRUE(frame.serializePacket(2).empty());
    }
}

TEST(MsgFrame, PacksUpTo246BytesIntoPacketsOf256) {
    const ByteArray message = patternBytes(300);
    const HostLinkMsgFrame frame(message, 3, 256);
    EXPECT_EQ(frame.packetCount(), 2);
    EXPECT_EQ(hex(frame.serializePacket(0)),
              hex(bytes("FF FE 00 01 03 03 00 00") + slice(message, 0, 246) + bytes("00 00")));
    EXPECT_EQ(hex(frame.serializePacket(1)),
              hex(bytes("FF FE 40 00 23 03 01 00") + slice(message, 246, 300) + bytes("00 00")));
}

TEST(MsgFrame, WritesPacketsOfAnySize) {
    for (const size_t length : {1u, 40u, 41u, 54u, 55u, 245u, 246u, 247u, 300u, 3990u}) {
        const ByteArray packet = HostLinkMsgFrame(patternBytes(length), 3, 4000).serializePacket(0);
        ASSERT_EQ(packet.size(), length + 10) << length;
        EXPECT_EQ(packet[2] + 256u * packet[3], length + 10) << length;
        EXPECT_EQ(slice(packet, 8, 8 + length), patternBytes(length)) << length;
        EXPECT_EQ(hex(slice(packet, 8 + length, 10 + length)), "00 00") << length;
    }
}

TEST(MsgFrame, TakesOverAMessageThatNobodyNeeds) {
    ByteArray given = bytes("55");
    const HostLinkMsgFrame frame(std::move(given), 3, 0);
    EXPECT_TRUE(given.empty()); // NOLINT(bugprone-use-after-move): that it is empty is the promise
    EXPECT_EQ(hex(frame.serializePacket(0)), "FF FE 0B 00 23 03 00 00 55 00 00");
}

TEST(MsgFrame, OfAnEmptyMessageHasNoPackets) {
    const HostLinkMsgFrame frame({}, 3, 64);
    EXPECT_EQ(frame.packetCount(), 0);
    EXPECT_EQ(hex(frame.serializePacket(0)), "FF FE 0A 00 23 03 00 00 00 00"); // nobody asks for it
    EXPECT_TRUE(frame.serializePacket(1).empty());
}

TEST(MsgFrame, CountsPackets) {
    struct Row {
        size_t length;
        int maxPacketSize;
        int count;
    };
    const Row rows[] = {
        {1, 64, 1},
        {54, 64, 1},
        {55, 64, 2},
        {108, 64, 2},
        {109, 64, 3},
        {13824, 64, 256},
        {13825, 64, 257},
        {255, 11, 255},
        {256, 11, 256},
        {65535, 65535, 2},
        {3, 10, 1},
        {70000, 9, 2},
        {70000, 65536 + 64, 1297},
        {70000, 65536, 2},
        {65526, 65536, 1},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(HostLinkMsgFrame(ByteArray(row.length), 3, row.maxPacketSize).packetCount(), row.count)
            << row.length << " bytes in packets of " << row.maxPacketSize;
    }
}

TEST(MsgFrame, TakesTheFrameIdInEightBits) {
    struct Row {
        int frameId;
        int written;
    };
    const Row rows[] = {{0, 0}, {255, 255}, {256, 0}, {259, 3}, {-1, 255}, {INT_MIN, 0}, {INT_MAX, 255}};
    for (const Row& row : rows) {
        EXPECT_EQ(HostLinkMsgFrame(bytes("55"), row.frameId, 64).serializePacket(0)[5], row.written) << row.frameId;
    }
}

TEST(MsgFrame, TakesTheIndexInEightBits) {
    const HostLinkMsgFrame frame(patternBytes(257), 3, 11);
    EXPECT_EQ(frame.packetCount(), 257);
    EXPECT_EQ(frame.serializePacket(256), frame.serializePacket(0));
    EXPECT_EQ(frame.serializePacket(-1), frame.serializePacket(255));
    EXPECT_EQ(hex(frame.serializePacket(255)), "FF FE 0B 00 03 03 FF 00 FC 00 00"); // byte 255 of the message
}

TEST(MsgFrame, TakesThePacketSizeInSixteenBits) {
    const ByteArray message = patternBytes(55);
    const HostLinkMsgFrame frame(message, 3, 65536 + 64);
    EXPECT_EQ(frame.packetCount(), 2);
    EXPECT_EQ(frame.serializePacket(0).size(), 64u);
    EXPECT_EQ(hex(frame.serializePacket(1)),
              hex(bytes("FF FE 0B 00 23 03 01 00") + slice(message, 54, 55) + bytes("00 00")));
}

TEST(MsgFrame, CountsOnePacketAndWritesEmptyOnesWhenThereIsNoRoomForPayload) {
    const HostLinkMsgFrame frame(bytes("01 02 03"), 3, 10);
    EXPECT_EQ(frame.packetCount(), 1);
    EXPECT_EQ(hex(frame.serializePacket(0)), "FF FE 0A 00 03 03 00 00 00 00");
    EXPECT_EQ(hex(frame.serializePacket(9)), "FF FE 0A 00 03 03 09 00 00 00");
}

TEST(MsgFrame, PutsAllIntoOnePacketForPacketSizesBelowTen) {
    for (int maxPacketSize = 1; maxPacketSize <= 9; ++maxPacketSize) {
        const ByteArray message = patternBytes(65525);
        const HostLinkMsgFrame frame(message, 3, maxPacketSize);
        EXPECT_EQ(frame.packetCount(), 1) << maxPacketSize;
        EXPECT_TRUE(frame.serializePacket(0) == bytes("FF FE FF FF 23 03 00 00") + message + bytes("00 00"))
            << maxPacketSize;
    }
}

TEST(MsgFrame, WritesNoPacketThatIsLongerThanItsLengthFieldCanSay) {
    for (const size_t length : {65526u, 65527u, 65535u, 65536u, 100000u, 131072u}) {
        for (const int maxPacketSize : {1, 5, 9, 65536}) {
            const HostLinkMsgFrame frame(patternBytes(length), 3, maxPacketSize);
            EXPECT_GE(frame.packetCount(), 1) << length << "/" << maxPacketSize;
            EXPECT_TRUE(frame.serializePacket(0).empty()) << length << "/" << maxPacketSize;
        }
    }
}

TEST(MsgFrame, OwnsACopyOfTheMessage) {
    ByteArray message = bytes("01 02 03");
    const HostLinkMsgFrame frame(message, 3, 64);
    const HostLinkMsgFrame copy(frame);
    message.assign(3, 0xFF);
    EXPECT_EQ(hex(frame.serializePacket(0)), "FF FE 0D 00 23 03 00 00 01 02 03 00 00");
    EXPECT_EQ(copy.serializePacket(0), frame.serializePacket(0));
}

// ---- incoming frames

TEST(Frame, IsEmptyAndNotCompleteWhenNew) {
    const HostLinkFrame frame;
    EXPECT_FALSE(frame.complete());
    EXPECT_TRUE(frame.data().empty());
}

TEST(Frame, GathersThreePacketsOf64Bytes) {
    const ByteArray message = patternBytes(162);
    HostLinkFrame frame;
    EXPECT_EQ(frame.addPacket(packetOf(0x03, 9, 0, slice(message, 0, 54))), 0u);
    EXPECT_FALSE(frame.complete());
    EXPECT_EQ(frame.addPacket(packetOf(0x03, 9, 1, slice(message, 54, 108))), 0u);
    EXPECT_FALSE(frame.complete());
    EXPECT_EQ(frame.addPacket(packetOf(0x23, 9, 2, slice(message, 108, 162))), 0u);
    EXPECT_TRUE(frame.complete());
    EXPECT_EQ(frame.data().size(), 162u);
    EXPECT_EQ(frame.data(), message);
}

TEST(Frame, StartsWithTenBytesAndGrowsByTwiceThePacketAndSix) {
    HostLinkFrame frame;
    EXPECT_EQ(frame.addPacket(packetOf(0x03, 9, 0, patternBytes(10))), 0u);
    EXPECT_EQ(storeSize(frame), 10u);
    EXPECT_EQ(frame.addPacket(packetOf(0x03, 9, 1, bytes("55"))), 0u); // a packet of 11 bytes
    EXPECT_EQ(storeSize(frame), 10u + 2 * 17);
    EXPECT_EQ(frame.data(), patternBytes(10) + bytes("55"));
    HostLinkFrame other;
    EXPECT_EQ(other.addPacket(packetOf(0x03, 9, 0, patternBytes(54))), 0u);
    EXPECT_EQ(storeSize(other), 10u + 2 * 70);
}

TEST(Frame, ReturnsWhatVerificationFindsAndStaysUnchanged) {
    struct Row {
        const char* packet;
        uint32_t code;
    };
    const Row rows[] = {
        {"", 22},
        {"FF FE 0B 00 23 05 00", 22},
        {"FF FE 0A 00 23 05 00 00 00 00", 10},
        {"FF FE 00 00 23 05 00 00", 10},
        {"FF FE 0C 00 23 05 00 00 55 00 00", 21},
        {"FE FF 0B 00 23 05 00 00 55 00 00", 11},
    };
    HostLinkFrame frame;
    ASSERT_EQ(frame.addPacket(packetOf(0x03, 9, 0, bytes("01 02"))), 0u);
    for (const Row& row : rows) {
        EXPECT_EQ(frame.addPacket(bytes(row.packet)), row.code) << row.packet;
        EXPECT_FALSE(frame.complete()) << row.packet;
        EXPECT_EQ(hex(frame.data()), "01 02") << row.packet;
        EXPECT_EQ(storeSize(frame), 10u) << row.packet;
    }
}

TEST(Frame, TellsCompleteOfThePacketAddedLast) {
    HostLinkFrame frame;
    EXPECT_EQ(frame.addPacket(packetOf(0x23, 9, 0, bytes("01"))), 0u);
    EXPECT_TRUE(frame.complete());
    EXPECT_EQ(frame.addPacket(packetOf(0x03, 9, 1, bytes("02"))), 0u);
    EXPECT_FALSE(frame.complete());
    EXPECT_EQ(frame.addPacket(bytes("FF FE 08 00 23 09 00 00")), 0u);
    EXPECT_TRUE(frame.complete());
    EXPECT_EQ(hex(frame.data()), "01 02");
}

TEST(Frame, TakesTheLongestPackets) {
    HostLinkFrame frame;
    const ByteArray payload = patternBytes(65525);
    EXPECT_EQ(frame.addPacket(packetOf(0x03, 9, 0, payload)), 0u);
    EXPECT_EQ(frame.addPacket(packetOf(0x23, 9, 1, payload)), 0u);
    EXPECT_TRUE(frame.data() == payload + payload);
}

TEST(Frame, CountsThePacketInSixteenBits) {
    HostLinkFrame frame;
    ByteArray packet = bytes("FF FE 0B 00 23 05 00 00 55 00 00");
    packet.resize(65536 + 10);
    EXPECT_EQ(frame.addPacket(packet), 21u);
    packet.resize(65536 + 11);
    EXPECT_EQ(frame.addPacket(packet), 0u);
    EXPECT_EQ(hex(frame.data()), "55");
}

TEST(Frame, ResizesByTwoBytesAStepAndKeepsItsPayload) {
    HostLinkFrame frame;
    ASSERT_EQ(frame.addPacket(packetOf(0x23, 9, 0, bytes("01 02 03 04"))), 0u);
    frame.resize(5);
    EXPECT_EQ(storeSize(frame), 20u);
    frame.resize(-7);
    EXPECT_EQ(storeSize(frame), 6u);
    frame.resize(0);
    EXPECT_EQ(storeSize(frame), 6u);
    EXPECT_EQ(hex(frame.data()), "01 02 03 04");
    EXPECT_TRUE(frame.complete());
}

TEST(Frame, CutByResizeGivesOnlyWhatItHolds) {
    HostLinkFrame frame;
    ASSERT_EQ(frame.addPacket(packetOf(0x23, 9, 0, bytes("01 02 03 04"))), 0u);
    frame.resize(-4);
    EXPECT_EQ(hex(frame.data()), "01 02");
    frame.resize(-1000);
    EXPECT_TRUE(frame.data().empty());
    frame.resize(INT_MIN);
    EXPECT_TRUE(frame.data().empty());
    frame.resize(3);
    EXPECT_EQ(hex(frame.data()), "00 00 00 00"); // 4 payload bytes, the 6 new ones are zero
}

TEST(Frame, RefusesAPayloadWhenOneGrowthIsNotEnough) {
    HostLinkFrame frame;
    ASSERT_EQ(frame.addPacket(packetOf(0x03, 9, 0, patternBytes(100))), 0u);
    frame.resize(-1000);
    // A packet of 11 bytes grows the store by 34; 101 bytes would be needed.
    EXPECT_EQ(frame.addPacket(packetOf(0x23, 9, 1, bytes("55"))), 16u);
    EXPECT_FALSE(frame.complete());
    EXPECT_EQ(frame.data(), ByteArray(34, 0));
}

TEST(Frame, CopiesOwnTheirBytes) {
    auto original = std::make_unique<HostLinkFrame>();
    ASSERT_EQ(original->addPacket(packetOf(0x03, 9, 0, bytes("01 02"))), 0u);
    HostLinkFrame copy(*original);
    HostLinkFrame assigned;
    assigned = *original;
    ASSERT_EQ(original->addPacket(packetOf(0x23, 9, 1, bytes("03"))), 0u);
    EXPECT_EQ(hex(original->data()), "01 02 03");
    original.reset();
    EXPECT_FALSE(copy.complete());
    EXPECT_EQ(copy.addPacket(packetOf(0x23, 9, 1, bytes("04"))), 0u);
    EXPECT_EQ(hex(copy.data()), "01 02 04");
    EXPECT_TRUE(copy.complete());
    EXPECT_EQ(assigned.addPacket(packetOf(0x03, 9, 1, patternBytes(54))), 0u);
    EXPECT_EQ(assigned.data(), bytes("01 02") + patternBytes(54));
    EXPECT_FALSE(assigned.complete());
}

TEST(Frame, AssignsToItself) {
    HostLinkFrame frame;
    ASSERT_EQ(frame.addPacket(packetOf(0x23, 9, 0, bytes("01 02"))), 0u);
    HostLinkFrame& alias = frame;
    frame = alias;
    frame = std::move(alias);
    EXPECT_EQ(hex(frame.data()), "01 02");
    EXPECT_TRUE(frame.complete());
}

TEST(Frame, MovesItsBytes) {
    HostLinkFrame original;
    ASSERT_EQ(original.addPacket(packetOf(0x23, 9, 0, bytes("01 02"))), 0u);
    HostLinkFrame moved(std::move(original));
    EXPECT_EQ(hex(moved.data()), "01 02");
    EXPECT_TRUE(moved.complete());
    HostLinkFrame assigned;
    assigned = std::move(moved);
    EXPECT_EQ(assigned.addPacket(packetOf(0x23, 9, 1, patternBytes(54))), 0u);
    EXPECT_EQ(assigned.data(), bytes("01 02") + patternBytes(54));
    EXPECT_TRUE(moved.data().empty()); // NOLINT(bugprone-use-after-move): its state is what is tested
    EXPECT_FALSE(moved.complete());
    EXPECT_EQ(moved.addPacket(packetOf(0x03, 9, 0, bytes("05"))), 0u);
    EXPECT_EQ(hex(moved.data()), "05");
    EXPECT_EQ(assigned.data(), bytes("01 02") + patternBytes(54));
}

TEST(Frame, AssignedFromIsEmptyAndMayBeUsed) {
    HostLinkFrame original;
    ASSERT_EQ(original.addPacket(packetOf(0x23, 9, 0, bytes("01 02"))), 0u);
    HostLinkFrame assigned;
    ASSERT_EQ(assigned.addPacket(packetOf(0x23, 9, 1, bytes("09"))), 0u);
    assigned = std::move(original);
    EXPECT_TRUE(original.data().empty()); // NOLINT(bugprone-use-after-move): its state is what is tested
    EXPECT_FALSE(original.complete());
    EXPECT_EQ(original.addPacket(packetOf(0x23, 9, 1, bytes("05"))), 0u);
    EXPECT_EQ(hex(original.data()), "05");
    EXPECT_EQ(hex(assigned.data()), "01 02") << "its own bytes no more, and none of the source's new ones";
    EXPECT_TRUE(assigned.complete());
}

TEST(Frame, MovedFromIsEmptyAndMayBeUsed) {
    HostLinkFrame original;
    ASSERT_EQ(original.addPacket(packetOf(0x23, 9, 0, bytes("01 02"))), 0u);
    const HostLinkFrame moved(std::move(original));
    EXPECT_TRUE(original.data().empty()); // NOLINT(bugprone-use-after-move): its state is what is tested
    EXPECT_FALSE(original.complete());
    EXPECT_EQ(original.addPacket(packetOf(0x23, 9, 0, bytes("05"))), 0u);
    EXPECT_EQ(hex(original.data()), "05");
}
