// Writing frames, cutting messages into packets, and gathering packets into frames.
#include <gtest/gtest.h>

#include <hostlink/HostLinkLib.h>

#include "support/Bytes.h"
#include "support/Packets.h"
#include "support/StaysAlive.h"

namespace {

#include "vectors/message_packets.inc"

constexpr uint16_t lengthUnset = 0xBEEF;

/// One call of `hostLinkFrameMsgSerialize` into a block of exactly `bufferSize` bytes.
struct Serialized {
    ExactBytes buffer;
    uint16_t packetLength = lengthUnset;
    int32_t result = 0;

    Serialized(uint16_t bufferSize, uint8_t frameId, const ByteArray& message, uint16_t maxPacketSize,
               uint8_t packetIndex, uint32_t ackRequest = 0)
        : buffer(bufferSize) {
        const ExactBytes source(message);
        result =
            hostLinkFrameMsgSerialize(buffer.data(), bufferSize, &packetLength, frameId, source.data(),
                                      static_cast<uint32_t>(message.size()), maxPacketSize, packetIndex, ackRequest);
    }
};

/// A frame record over a block of exact size.
struct Record {
    ExactBytes buffer;
    HostLinkFrameRecord frame{};

    explicit Record(size_t capacity) : buffer(capacity) {
        hostLinkFrameInit(&frame, buffer.data(), static_cast<uint32_t>(capacity));
    }
    uint32_t add(const ByteArray& packet) {
        const ExactBytes block(packet);
        return hostLinkFrameAddPacket(&frame, block.data(), static_cast<uint32_t>(packet.size()));
    }
    std::string payload() const { return hex(frame.data, frame.size); }
};

} // namespace

// ---- one-packet frames

TEST(FrameHeaderWrite, WritesEightBytesAndNoMore) {
    ExactBytes buffer(10);
    hostLinkFrameHeaderWrite(buffer.data(), 0x1234, 0x56, 0x78, 0x9A);
    EXPECT_EQ(buffer.text(), "FF FE 34 12 9A 56 78 00 A5 A5");
}

TEST(FrameHeaderWrite, FitsABufferOfEight) {
    ExactBytes buffer(8);
    hostLinkFrameHeaderWrite(buffer.data(), 65535, 255, 255, 255);
    EXPECT_EQ(buffer.text(), "FF FE FF FF FF FF FF 00");
}

TEST(FrameIrqSerialize, WritesFourteenBytes) {
    ExactBytes buffer(14);
    hostLinkFrameIrqSerialize(buffer.data(), 7, 0x12345678);
    EXPECT_EQ(buffer.text(), "FF FE 0E 00 22 07 00 00 78 56 34 12 00 00");
    hostLinkFrameIrqSerialize(buffer.data(), 255, 0xFFFFFFFF);
    EXPECT_EQ(buffer.text(), "FF FE 0E 00 22 FF 00 00 FF FF FF FF 00 00");
    hostLinkFrameIrqSerialize(buffer.data(), 0, 0);
    EXPECT_EQ(buffer.text(), "FF FE 0E 00 22 00 00 00 00 00 00 00 00 00");
}

TEST(FrameIrqDeserialize, ReadsTheValueOfFourteenBytesOrMore) {
    const ExactBytes frame("FF FE 0E 00 22 07 00 00 78 56 34 12 00 00 EE");
    EXPECT_EQ(hostLinkFrameIrqDeserialize(frame.data(), 14), 0x12345678u);
    EXPECT_EQ(hostLinkFrameIrqDeserialize(frame.data(), 15), 0x12345678u);
}

TEST(FrameIrqDeserialize, IsZeroBelowFourteenBytes) {
    const ByteArray frame = bytes("FF FE 0E 00 22 07 00 00 78 56 34 12 00 00");
    for (size_t count = 0; count <= 13; ++count) {
        const ExactBytes cut(slice(frame, 0, count));
        EXPECT_EQ(hostLinkFrameIrqDeserialize(cut.data(), cut.size16()), 0u) << count;
    }
}

TEST(FrameRspSerialize, WritesTheAcknowledgementIntoTheFlags) {
    struct Row {
        int type;
        const char* frame;
    };
    const Row rows[] = {
        {0, "FF FE 08 00 23 05 00 00"},   {1, "FF FE 08 00 63 05 00 00"},   {2, "FF FE 08 00 A3 05 00 00"},
        {3, "FF FE 08 00 E3 05 00 00"},   {4, "FF FE 08 00 23 05 00 00"},   {5, "FF FE 08 00 23 05 00 00"},
        {64, "FF FE 08 00 23 05 00 00"},  {128, "FF FE 08 00 23 05 00 00"}, {192, "FF FE 08 00 23 05 00 00"},
        {255, "FF FE 08 00 23 05 00 00"},
    };
    for (const Row& row : rows) {
        ExactBytes buffer(8);
        hostLinkFrameRspSerialize(buffer.data(), 5, static_cast<AcknowledgeType>(row.type));
        EXPECT_EQ(buffer.text(), row.frame) << row.type;
    }
}

TEST(FrameRspDeserialize, IsFlagBitsSixAndSeven) {
    for (unsigned flags = 0; flags < 256; ++flags) {
        ExactBytes packet("FF FE 08 00 00 05 00 00");
        packet[4] = static_cast<uint8_t>(flags);
        EXPECT_EQ(static_cast<unsigned>(hostLinkFrameRspDeserialize(packet.data())), flags / 64) << flags;
    }
}

TEST(FrameRstSerialize, WritesEightBytes) {
    ExactBytes buffer(8);
    hostLinkFrameRstSerialize(buffer.data(), 1);
    EXPECT_EQ(buffer.text(), "FF FE 08 00 21 01 00 00");
    hostLinkFrameRstSerialize(buffer.data(), 255);
    EXPECT_EQ(buffer.text(), "FF FE 08 00 21 FF 00 00");
}

// ---- how many packets

TEST(FramePacketCount, IsTheLengthOverThePayloadRoundedUp) {
    struct Row {
        uint32_t length;
        uint16_t maxPacketSize;
        uint32_t count;
    };
    const Row rows[] = {
        {0, 64, 0},
        {1, 64, 1},
        {53, 64, 1},
        {54, 64, 1},
        {55, 64, 2},
        {108, 64, 2},
        {109, 64, 3},
        {255, 64, 5},
        {13824, 64, 256},
        {13825, 64, 257},
        {65535, 64, 1214},
        {0, 11, 0},
        {1, 11, 1},
        {2, 11, 2},
        {255, 11, 255},
        {256, 11, 256},
        {65535, 11, 65535},
        {300, 256, 2},
        {246, 256, 1},
        {247, 256, 2},
        {65525, 65535, 1},
        {65526, 65535, 2},
        {65536, 65535, 2},
        {4294967295u, 11, 4294967295u},
        {4294967295u, 64, 79536432},
        {4294967295u, 65535, 65548},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(hostLinkFramePacketCount(row.length, row.maxPacketSize), row.count)
            << row.length << " bytes in packets of " << row.maxPacketSize;
    }
}

TEST(FramePacketCount, IsOneForAnyBytesWhenAPacketHasNoRoomForPayload) {
    EXPECT_EQ(hostLinkFramePacketCount(0, 10), 0u);
    EXPECT_EQ(hostLinkFramePacketCount(1, 10), 1u);
    EXPECT_EQ(hostLinkFramePacketCount(65535, 10), 1u);
    EXPECT_EQ(hostLinkFramePacketCount(4294967295u, 10), 1u);
}

TEST(FramePacketCount, WrapsThePayloadForPacketSizesBelowTen) {
    for (uint16_t maxPacketSize = 0; maxPacketSize <= 9; ++maxPacketSize) {
        const uint32_t payload = 65526u + maxPacketSize; // (maxPacketSize − 10) mod 65536
        EXPECT_EQ(hostLinkFramePacketCount(0, maxPacketSize), 0u) << maxPacketSize;
        EXPECT_EQ(hostLinkFramePacketCount(1, maxPacketSize), 1u) << maxPacketSize;
        EXPECT_EQ(hostLinkFramePacketCount(payload - 1, maxPacketSize), 1u) << maxPacketSize;
        EXPECT_EQ(hostLinkFramePacketCount(payload, maxPacketSize), 1u) << maxPacketSize;
        EXPECT_EQ(hostLinkFramePacketCount(payload + 1, maxPacketSize), 2u) << maxPacketSize;
    }
}

// ---- cutting

TEST(FrameMsgSerialize, WritesThePacketsThatAnIndependentProgramWrites) {
    for (const MessagePacketVector& row : messagePacketVectors) {
        const ByteArray expected = bytes(row.packet);
        const Serialized written(static_cast<uint16_t>(expected.size()), row.frameId, patternBytes(row.messageLength),
                                 row.maxPacketSize, row.index, row.ackRequest);
        EXPECT_EQ(written.result, 0) << row.name;
        EXPECT_EQ(written.packetLength, expected.size()) << row.name;
        EXPECT_EQ(written.buffer.text(), hex(expected)) << row.name;
    }
}

TEST(FrameMsgSerialize, CutsFiftyFourBytesIntoOneFullPacket) {
    const ByteArray message = patternBytes(54);
    const Serialized only(64, 5, message, 64, 0);
    EXPECT_EQ(only.result, 0);
    EXPECT_EQ(only.packetLength, 64);
    EXPECT_EQ(only.buffer.text(), hex(bytes("FF FE 40 00 23 05 00 00") + message + bytes("00 00")));
}

TEST(FrameMsgSerialize, CutsFiftyFiveBytesIntoAFullPacketAndOneOfElevenBytes) {
    const ByteArray message = patternBytes(55);
    const Serialized first(64, 5, message, 64, 0);
    EXPECT_EQ(first.result, 0);
    EXPECT_EQ(first.buffer.text(), hex(bytes("FF FE 40 00 03 05 00 00") + slice(message, 0, 54) + bytes("00 00")));
    const Serialized second(11, 5, message, 64, 1);
    EXPECT_EQ(second.result, 0);
    EXPECT_EQ(second.packetLength, 11);
    EXPECT_EQ(second.buffer.text(), hex(bytes("FF FE 0B 00 23 05 01 00") + slice(message, 54, 55) + bytes("00 00")));
}

TEST(FrameMsgSerialize, MarksTheExactlyFilledLastPacketAsLast) {
    const ByteArray message = patternBytes(108);
    EXPECT_EQ(Serialized(64, 5, message, 64, 0).buffer.copy()[4], 0x03);
    EXPECT_EQ(Serialized(64, 5, message, 64, 1).buffer.copy()[4], 0x23);
}

TEST(FrameMsgSerialize, AddsTheAckFlagToEachPacketWhenAsked) {
    const ByteArray message = patternBytes(55);
    for (const uint32_t request : {1u, 2u, 256u, 0x80000000u}) {
        EXPECT_EQ(Serialized(64, 5, message, 64, 0, request).buffer.copy()[4], 0x83) << request;
        EXPECT_EQ(Serialized(64, 5, message, 64, 1, request).buffer.copy()[4], 0xA3) << request;
    }
    EXPECT_EQ(Serialized(64, 5, message, 64, 0, 0).buffer.copy()[4], 0x03);
}

TEST(FrameMsgSerialize, LeavesTheRestOfALargerBufferAlone) {
    const Serialized written(20, 1, bytes("AA"), 64, 0);
    EXPECT_EQ(written.result, 0);
    EXPECT_EQ(written.packetLength, 11);
    EXPECT_EQ(slice(written.buffer.copy(), 0, 11), bytes("FF FE 0B 00 23 01 00 00 AA 00 00"));
    EXPECT_TRUE(written.buffer.isUntouched(11));
}

TEST(FrameMsgSerialize, TellsHowManyBytesAreMissingAndWritesOnlyTheLength) {
    struct Row {
        size_t messageLength;
        uint16_t bufferSize;
        uint16_t packetLength;
        int32_t missing;
    };
    const Row rows[] = {
        {54, 50, 64, 14}, {54, 63, 64, 1}, {54, 0, 64, 64}, {54, 8, 64, 56},
        {1, 10, 11, 1},   {1, 0, 11, 11},  {0, 9, 10, 1},
    };
    for (const Row& row : rows) {
        const Serialized written(row.bufferSize, 5, patternBytes(row.messageLength), 64, 0);
        EXPECT_EQ(written.result, row.missing) << row.bufferSize;
        EXPECT_EQ(written.packetLength, row.packetLength) << row.bufferSize;
        EXPECT_TRUE(written.buffer.isUntouched()) << row.bufferSize;
    }
}

TEST(FrameMsgSerialize, RefusesAnIndexBeyondTheMessageAndWritesNothing) {
    struct Row {
        size_t messageLength;
        uint16_t maxPacketSize;
        uint8_t index;
    };
    const Row rows[] = {{100, 64, 2}, {0, 64, 1},     {54, 64, 2}, {55, 64, 2},
                        {1, 11, 2},   {254, 11, 255}, {20, 9, 1},  {20, 0, 255}};
    for (const Row& row : rows) {
        const Serialized written(100, 5, patternBytes(row.messageLength), row.maxPacketSize, row.index);
        EXPECT_EQ(written.result, -1) << row.messageLength << "/" << int(row.index);
        EXPECT_EQ(written.packetLength, lengthUnset);
        EXPECT_TRUE(written.buffer.isUntouched());
    }
}

TEST(FrameMsgSerialize, RefusesAnIndexBeyondTheMessageBeforeItLooksAtTheBuffer) {
    EXPECT_EQ(Serialized(0, 5, patternBytes(100), 64, 2).result, -1);
}

TEST(FrameMsgSerialize, WritesAnEmptyPacketJustBehindAnExactMultiple) {
    const Serialized behind(10, 5, patternBytes(108), 64, 2);
    EXPECT_EQ(behind.result, 0);
    EXPECT_EQ(behind.packetLength, 10);
    EXPECT_EQ(behind.buffer.text(), "FF FE 0A 00 23 05 02 00 00 00");
    EXPECT_EQ(hostLinkPacketVerify(behind.buffer.data(), 10), 10u);
}

TEST(FrameMsgSerialize, WritesAnEmptyPacketForAnEmptyMessage) {
    const Serialized empty(10, 5, {}, 64, 0);
    EXPECT_EQ(empty.result, 0);
    EXPECT_EQ(empty.packetLength, 10);
    EXPECT_EQ(empty.buffer.text(), "FF FE 0A 00 23 05 00 00 00 00");
    EXPECT_EQ(hostLinkPacketVerify(empty.buffer.data(), 10), 10u);
}

TEST(FrameMsgSerialize, WritesEmptyPacketsThatAreNotLastWhenThereIsNoRoomForPayload) {
    const Serialized first(10, 5, patternBytes(3), 10, 0);
    EXPECT_EQ(first.result, 0);
    EXPECT_EQ(first.buffer.text(), "FF FE 0A 00 03 05 00 00 00 00");
    const Serialized far(10, 5, patternBytes(3), 10, 255);
    EXPECT_EQ(far.result, 0);
    EXPECT_EQ(far.buffer.text(), "FF FE 0A 00 03 05 FF 00 00 00");
    EXPECT_EQ(Serialized(10, 5, {}, 10, 0).buffer.text(), "FF FE 0A 00 23 05 00 00 00 00");
}

TEST(FrameMsgSerialize, ReachesThePacketWithIndex255) {
    const ByteArray message = patternBytes(256 * 54);
    const Serialized last(64, 5, message, 64, 255);
    EXPECT_EQ(last.result, 0);
    EXPECT_EQ(last.buffer.text(),
              hex(bytes("FF FE 40 00 23 05 FF 00") + slice(message, 255 * 54, 256 * 54) + bytes("00 00")));
}

TEST(FrameMsgSerialize, ReachesOffsetsAboveSixteenBits) {
    const ByteArray message = patternBytes(3 * 65525 + 1);
    const Serialized last(11, 5, message, 65535, 3);
    EXPECT_EQ(last.result, 0);
    EXPECT_EQ(last.packetLength, 11);
    EXPECT_EQ(last.buffer.text(),
              hex(bytes("FF FE 0B 00 23 05 03 00") + slice(message, 3 * 65525, 3 * 65525 + 1) + bytes("00 00")));
    const Serialized third(65535, 5, message, 65535, 2);
    EXPECT_EQ(third.result, 0);
    EXPECT_EQ(third.packetLength, 65535);
    EXPECT_TRUE(third.buffer.copy() ==
                bytes("FF FE FF FF 03 05 02 00") + slice(message, 2 * 65525, 3 * 65525) + bytes("00 00"));
}

// ---- maximum packet sizes of 0 to 9: the payload wraps to 65526 … 65535 bytes

TEST(FrameMsgSerialize, PutsAShortMessageIntoOnePacketWhenThePayloadWraps) {
    for (uint16_t maxPacketSize = 0; maxPacketSize <= 9; ++maxPacketSize) {
        const Serialized written(13, 5, bytes("01 02 03"), maxPacketSize, 0);
        EXPECT_EQ(written.result, 0) << maxPacketSize;
        EXPECT_EQ(written.packetLength, 13) << maxPacketSize;
        EXPECT_EQ(written.buffer.text(), "FF FE 0D 00 23 05 00 00 01 02 03 00 00") << maxPacketSize;
    }
}

TEST(FrameMsgSerialize, WritesTheLongestPacketThatHasALength) {
    const ByteArray message = patternBytes(65525);
    for (uint16_t maxPacketSize = 0; maxPacketSize <= 9; ++maxPacketSize) {
        const Serialized written(65535, 5, message, maxPacketSize, 0);
        EXPECT_EQ(written.result, 0) << maxPacketSize;
        EXPECT_EQ(written.packetLength, 65535) << maxPacketSize;
        EXPECT_TRUE(written.buffer.copy() == bytes("FF FE FF FF 23 05 00 00") + message + bytes("00 00"))
            << maxPacketSize;
    }
}

// The buffers below are far too small for what would be written.
TEST(FrameMsgSerializeDeathTest, StaysWithinABufferThatTheWrappedLengthWouldFit) {
    EXPECT_STAYS_ALIVE(Serialized(50, 5, patternBytes(65526), 9, 0));
}

TEST(FrameMsgSerialize, NeverWritesAPacketThatIsLongerThanItsLengthFieldCanSay) {
    struct Row {
        const char* name;
        size_t messageLength;
        uint16_t maxPacketSize;
        uint16_t bufferSize;
        uint16_t packetLength; // chunk + 10 in 16 bits
        int32_t result;
    };
    const Row rows[] = {
        {"wraps to 0, no buffer", 65526, 9, 0, 0, 65536},
        {"wraps to 0, some buffer", 65526, 9, 50, 0, 65486},
        {"wraps to 0, largest buffer", 65526, 9, 65535, 0, 1},
        {"wraps to 0, smallest packet size", 65526, 0, 65535, 0, 1},
        {"wraps to 9, larger buffer", 65535, 9, 50, 9, 65495},
        {"wraps to 9, buffer of 9", 65535, 9, 9, 9, 65536},
        {"wraps to 9, buffer of 8: as by the wrapped length", 65535, 9, 8, 9, 1},
        {"wraps to 9, no buffer: as by the wrapped length", 65535, 9, 0, 9, 9},
        {"wraps to 5, more than one packet", 100000, 5, 100, 5, 65441},
        {"wraps to 9, more than one packet", 200000, 9, 65535, 9, 10},
        {"wraps to 0, more than one packet", 65527, 0, 65535, 0, 1},
    };
    for (const Row& row : rows) {
        const Serialized written(row.bufferSize, 5, patternBytes(row.messageLength), row.maxPacketSize, 0);
        EXPECT_EQ(written.packetLength, row.packetLength) << row.name;
        EXPECT_EQ(written.result, row.result) << row.name;
        EXPECT_TRUE(written.buffer.isUntouched()) << row.name;
    }
}

TEST(FrameMsgSerialize, WritesTheShortLastPacketOfAWrappedPayload) {
    const ByteArray message = patternBytes(65536);
    const Serialized last(11, 5, message, 9, 1);
    EXPECT_EQ(last.result, 0);
    EXPECT_EQ(last.packetLength, 11);
    EXPECT_EQ(last.buffer.text(),
              hex(bytes("FF FE 0B 00 23 05 01 00") + slice(message, 65535, 65536) + bytes("00 00")));
}

// ---- frame assembly

TEST(FrameInit, AttachesTheBufferAndClearsEveryField) {
    ExactBytes buffer(20);
    HostLinkFrameRecord frame{nullptr, 1, 2, 3, 4, 5};
    hostLinkFrameInit(&frame, buffer.data(), 20);
    EXPECT_EQ(frame.data, buffer.data());
    EXPECT_EQ(frame.capacity, 20u);
    EXPECT_EQ(frame.size, 0u);
    EXPECT_EQ(frame.frameId, 0);
    EXPECT_EQ(frame.complete, 0);
    EXPECT_EQ(frame.type, 0u);
    EXPECT_TRUE(buffer.isUntouched());
}

TEST(FrameAddPacket, GathersPayloadsInOrderOfArrival) {
    Record record(5);
    EXPECT_EQ(record.add(packetOf(0x03, 9, 0, bytes("01 02 03"))), 0u);
    EXPECT_EQ(hostLinkFrameComplete(&record.frame), 0);
    EXPECT_EQ(record.add(packetOf(0x23, 9, 1, bytes("04 05"))), 0u);
    EXPECT_EQ(hostLinkFrameComplete(&record.frame), 1);
    EXPECT_EQ(hostLinkFrameType(&record.frame), 3u);
    uint32_t size = 99;
    EXPECT_EQ(hostLinkFrameData(&record.frame, &size), record.buffer.data());
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(record.buffer.text(), "01 02 03 04 05");
    EXPECT_EQ(record.frame.frameId, 9);
}

TEST(FrameAddPacket, ReturnsWhatVerificationFindsAndChangesNothing) {
    struct Row {
        const char* packet;
        uint32_t code;
    };
    const Row rows[] = {
        {"FF FE 0B 00 23 07 00", 22},
        {"", 22},
        {"FF FE 0A 00 23 07 00 00 00 00", 10},
        {"FF FE 09 00 23 07 00 00 00 00", 10},
        {"FF FE 00 00 23 07 00 00 00 00", 10},
        {"FF FE 0C 00 23 07 00 00 55 00 00", 21},
        {"FE FF 0B 00 23 07 00 00 55 00 00", 11},
    };
    for (const Row& row : rows) {
        Record record(20);
        ASSERT_EQ(record.add(packetOf(0x03, 9, 0, bytes("01 02"))), 0u);
        EXPECT_EQ(record.add(bytes(row.packet)), row.code) << row.packet;
        EXPECT_EQ(record.payload(), "01 02") << row.packet;
        EXPECT_EQ(record.frame.frameId, 9) << row.packet;
        EXPECT_EQ(record.frame.complete, 0) << row.packet;
        EXPECT_EQ(record.frame.type, 3u) << row.packet;
        EXPECT_TRUE(record.buffer.isUntouched(2)) << row.packet;
    }
}

TEST(FrameAddPacket, VerifiesBeforeItLooksForRoom) {
    Record record(0);
    EXPECT_EQ(record.add(bytes("FE FF 0B 00 23 07 00 00 55 00 00")), 11u);
    EXPECT_EQ(record.add(bytes("FF FE 0B 00 23 07 00 00 55 00 00")), 16u);
}

TEST(FrameAddPacket, RefusesAPayloadThatExceedsTheCapacityAndChangesNothing) {
    Record record(4);
    ASSERT_EQ(record.add(packetOf(0x03, 9, 0, bytes("01 02"))), 0u);
    EXPECT_EQ(record.add(bytes("FF FE 0D 00 22 07 01 00 03 04 05 00 00")), 16u);
    EXPECT_EQ(record.frame.size, 2u);
    EXPECT_EQ(record.frame.frameId, 9);
    EXPECT_EQ(record.frame.type, 3u);
    EXPECT_EQ(record.frame.complete, 0);
    EXPECT_EQ(record.buffer.text(), "01 02 A5 A5");
    EXPECT_EQ(record.add(packetOf(0x23, 9, 1, bytes("03 04"))), 0u);
    EXPECT_EQ(record.buffer.text(), "01 02 03 04");
}

TEST(FrameAddPacket, RefusesTheFirstPayloadThatExceedsTheCapacityAndChangesNothing) {
    Record record(2);
    EXPECT_EQ(record.add(packetOf(0x23, 9, 0, bytes("01 02 03"))), 16u);
    EXPECT_EQ(record.frame.size, 0u);
    EXPECT_EQ(record.frame.frameId, 0);
    EXPECT_EQ(record.frame.type, 0u);
    EXPECT_EQ(record.frame.complete, 0);
    EXPECT_TRUE(record.buffer.isUntouched());
}

TEST(FrameAddPacketDeathTest, WritesNothingBehindARecordThatClaimsMoreThanItHas) {
    EXPECT_STAYS_ALIVE({
        Record record(4);
        record.frame.size = 0xFFFFFFFF;
        record.add(packetOf(0x23, 9, 0, bytes("01")));
    });
}

TEST(FrameAddPacket, RefusesAPayloadWhenTheRecordHoldsAllThatThirtyTwoBitsCount) {
    Record record(4);
    record.frame.size = 0xFFFFFFFF;
    EXPECT_EQ(record.add(packetOf(0x23, 9, 0, bytes("01"))), 16u);
    EXPECT_EQ(record.frame.size, 0xFFFFFFFFu);
    EXPECT_TRUE(record.buffer.isUntouched());
}

TEST(FrameAddPacket, TakesIdAndTypeOfTheFirstPayloadOnly) {
    Record record(10);
    EXPECT_EQ(record.add(bytes("FF FE 0E 00 22 07 00 00 11 22 33 44 00 00")), 0u);
    EXPECT_EQ(record.frame.frameId, 7);
    EXPECT_EQ(record.frame.type, 2u);
    EXPECT_EQ(record.add(packetOf(0x03, 8, 0, bytes("55"))), 0u);
    EXPECT_EQ(record.frame.frameId, 7);
    EXPECT_EQ(record.frame.type, 2u);
    EXPECT_EQ(record.payload(), "11 22 33 44 55");
}

TEST(FrameAddPacket, DoesNotLookAtPacketIdsTheirOrderOrLaterFrameIds) {
    Record record(3);
    EXPECT_EQ(record.add(packetOf(0x03, 1, 9, bytes("AA"))), 0u);
    EXPECT_EQ(record.add(packetOf(0x03, 2, 3, bytes("BB"))), 0u);
    EXPECT_EQ(record.add(packetOf(0x03, 3, 3, bytes("CC"))), 0u);
    EXPECT_EQ(record.payload(), "AA BB CC");
    EXPECT_EQ(record.frame.frameId, 1);
}

TEST(FrameAddPacket, LetsEveryPacketOverwriteComplete) {
    Record record(3);
    EXPECT_EQ(record.add(packetOf(0x23, 1, 0, bytes("AA"))), 0u);
    EXPECT_EQ(hostLinkFrameComplete(&record.frame), 1);
    EXPECT_EQ(record.add(packetOf(0x03, 1, 1, bytes("BB"))), 0u);
    EXPECT_EQ(hostLinkFrameComplete(&record.frame), 0);
    EXPECT_EQ(record.add(packetOf(0xE3, 1, 2, bytes("CC"))), 0u);
    EXPECT_EQ(hostLinkFrameComplete(&record.frame), 1);
}

TEST(FrameAddPacket, LetsAHeaderOnlyPacketSetIdTypeAndCompleteOnlyUntilThePayloadComes) {
    Record record(2);
    EXPECT_EQ(record.add(bytes("FF FE 08 00 21 05 00 00")), 0u);
    EXPECT_EQ(record.frame.frameId, 5);
    EXPECT_EQ(record.frame.type, 1u);
    EXPECT_EQ(record.frame.complete, 1);
    EXPECT_EQ(record.frame.size, 0u);
    EXPECT_EQ(record.add(packetOf(0x03, 6, 0, bytes("AA"))), 0u);
    EXPECT_EQ(record.frame.frameId, 6);
    EXPECT_EQ(record.frame.type, 3u);
    EXPECT_EQ(record.frame.complete, 0);
    // Behind a payload a header-only packet changes nothing but "complete".
    EXPECT_EQ(record.add(bytes("FF FE 08 00 23 07 00 00")), 0u);
    EXPECT_EQ(record.frame.frameId, 6);
    EXPECT_EQ(record.frame.type, 3u);
    EXPECT_EQ(record.frame.complete, 1);
    EXPECT_EQ(record.payload(), "AA");
}

TEST(FrameAddPacket, TakesAHeaderOnlyPacketWithoutAnyCapacity) {
    Record record(0);
    EXPECT_EQ(record.add(bytes("FF FE 08 00 A3 05 00 00")), 0u);
    EXPECT_EQ(record.frame.type, 0u);
    EXPECT_EQ(record.frame.frameId, 5);
    EXPECT_EQ(record.frame.complete, 1);
}

TEST(FrameAddPacket, TakesOnlyThePayloadOfAPacketWithBytesBehindIt) {
    Record record(10);
    EXPECT_EQ(record.add(bytes("FF FE 0B 00 23 05 00 00 AA 00 00 BB CC DD")), 0u);
    EXPECT_EQ(record.payload(), "AA");
}

TEST(FrameAddPacket, CountsBytesInSixteenBits) {
    const ExactBytes packet("FF FE 0B 00 23 05 00 00 AA 00 00");
    Record record(10);
    EXPECT_EQ(hostLinkFrameAddPacket(&record.frame, packet.data(), 0x10000 + 7), 22u);
    EXPECT_EQ(hostLinkFrameAddPacket(&record.frame, packet.data(), 0x10000 + 10), 21u);
    EXPECT_EQ(hostLinkFrameAddPacket(&record.frame, packet.data(), 0x10000), 22u);
    EXPECT_EQ(hostLinkFrameAddPacket(&record.frame, packet.data(), 0x70000 + 11), 0u);
    EXPECT_EQ(record.payload(), "AA");
}

TEST(FrameAddPacket, TakesTheLongestPacket) {
    Record record(65525);
    const ByteArray payload = patternBytes(65525);
    EXPECT_EQ(record.add(packetOf(0x23, 1, 0, payload)), 0u);
    EXPECT_EQ(record.frame.size, 65525u);
    EXPECT_TRUE(record.buffer.copy() == payload);
}

TEST(FrameData, IsEmptyForANewRecord) {
    Record record(4);
    uint32_t size = 99;
    EXPECT_EQ(hostLinkFrameData(&record.frame, &size), record.buffer.data());
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(hostLinkFrameComplete(&record.frame), 0);
    EXPECT_EQ(hostLinkFrameType(&record.frame), 0u);
}
