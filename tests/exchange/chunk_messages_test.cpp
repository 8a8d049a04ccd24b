// What chunks and their answers look like on the wire. The vectors are written by hand, the checksums in them are those
// of docs/wire-format.md.
#include <gtest/gtest.h>

#include <exchange/ChunkMessages.h>

#include "support/Bytes.h"

using namespace hostlink::exchange;

namespace {

const ByteArray hell = bytes("48 65 6C 6C");

constexpr char first[] = "07 00 05 00 00 C5 05 00 61 2E 62 69 6E 06 00 CE 06 00 00 00 " // "a.bin", 6 bytes
                         "01 00 CE 00 00 00 00 02 00 C5 04 00 48 65 6C 6C 04 00 CE 04 9F 2E D9";

} // namespace

TEST(ChunkMessages, TheFirstChunkHasNameAndSize) {
    Chunk chunk;
    chunk.name = "a.bin";
    chunk.fileSize = 6;
    chunk.sequence = SequenceNumber{ENC_Uint32, 0};
    chunk.data = hell.data();
    chunk.size = hell.size();
    EXPECT_EQ(hex(writeChunk(chunk)), first);
}

TEST(ChunkMessages, AChunkIsReadAsItWasWritten) {
    const ByteArray message = bytes(first);
    const auto chunk = readChunk(message);
    ASSERT_TRUE(chunk);
    EXPECT_EQ(chunk->name, "a.bin");
    EXPECT_EQ(chunk->fileSize, 6u);
    EXPECT_EQ(chunk->sequence->number, 0u);
    EXPECT_EQ(hex(chunk->data, chunk->size), "48 65 6C 6C");
    EXPECT_EQ(chunk->checksum, 0xD92E9F04u);
    EXPECT_FALSE(chunk->last);
    EXPECT_FALSE(chunk->aborted);
}

TEST(ChunkMessages, TheLastChunkSaysSo) {
    const auto chunk = readChunk(bytes("07 00 01 03 00 C0"));
    ASSERT_TRUE(chunk);
    EXPECT_TRUE(chunk->last);
}

TEST(ChunkMessages, AnAbortIsAllThatItIs) {
    EXPECT_EQ(hex(writeAbort()), "07 00 01 05 00 C0");
    EXPECT_TRUE(readChunk(writeAbort())->aborted);
}

TEST(ChunkMessages, ItemsOfAnotherKindThanTheirsAreNotThere) {
    // A number as name, text as sequence number, 16 bits of checksum and size; and a tag that nobody knows.
    const auto chunk =
        readChunk(bytes("07 00 05 00 00 CC 05 01 00 C5 01 00 30 04 00 CD 01 00 06 00 CD 01 00 09 00 C0"));
    ASSERT_TRUE(chunk);
    EXPECT_FALSE(chunk->name);
    EXPECT_FALSE(chunk->sequence);
    EXPECT_FALSE(chunk->checksum);
    EXPECT_FALSE(chunk->fileSize);
}

TEST(ChunkMessages, AMessageThatIsCutShortIsNone) {
    EXPECT_FALSE(readChunk(bytes("07 00 01 02 00 C5 05 00 61")));
    EXPECT_FALSE(readChunk(bytes("07 00")));
    EXPECT_FALSE(readAnswer(bytes("07 80 01 01")));
}

TEST(ChunkMessages, TheAnswerToTheLastChunkHasTotals) {
    ChunkAnswer answer;
    answer.sequence = SequenceNumber{ENC_Uint32, 1};
    answer.checksum = 0xA15451AB;
    answer.last = true;
    answer.fileSize = 6;
    answer.fileChecksum = 0xCE6B1933;
    const std::string wire = "07 80 05 01 00 CE 01 00 00 00 04 00 CE AB 51 54 A1 03 00 C0 06 00 CE 06 00 00 00 "
                             "04 00 CE 33 19 6B CE";
    EXPECT_EQ(hex(writeAnswer(answer)), wire);
    const auto read = readAnswer(bytes(wire));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->checksum, 0xA15451ABu);
    EXPECT_EQ(read->fileSize, 6u);
    EXPECT_EQ(read->fileChecksum, 0xCE6B1933u);
    EXPECT_TRUE(read->last);
    EXPECT_FALSE(read->aborted);
}

TEST(ChunkMessages, ARefusalEndsWithAbort) {
    ChunkAnswer answer;
    answer.aborted = true;
    EXPECT_EQ(hex(writeAnswer(answer)), "07 80 01 05 00 C0");
    EXPECT_TRUE(readAnswer(writeAnswer(answer))->aborted);
}

TEST(ChunkMessages, ANumberWithTheTagOfAbortIsNoAbort) {
    const auto answer = readAnswer(bytes("07 80 02 05 00 CC 01 03 00 CC 01"));
    ASSERT_TRUE(answer);
    EXPECT_FALSE(answer->aborted);
    EXPECT_FALSE(answer->last);
}

TEST(ChunkMessages, AnAnswerMayHaveItemsThatNobodyKnows) {
    const auto answer = readAnswer(bytes("07 80 02 01 00 CC 07 09 00 C0"));
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->sequence->number, 7u);
}

TEST(SequenceNumber, WrapsInItsWidth) {
    EXPECT_EQ((SequenceNumber{ENC_Uint8, 255}.next().number), 0u);
    EXPECT_EQ((SequenceNumber{ENC_Int16, 65535}.next().number), 0u);
    EXPECT_EQ((SequenceNumber{ENC_Uint32, 0xFFFFFFFF}.next().number), 0u);
    EXPECT_EQ((SequenceNumber{ENC_Uint64, 0xFFFFFFFFFFFFFFFF}.next().number), 0u);
    EXPECT_EQ((SequenceNumber{ENC_Uint8, 7}.next().number), 8u);
}

TEST(MessageItems, EachNumberHasItsWidth) {
    MessageWriter writer(MSG_DataTransfer);
    writer.number(1, ENC_Uint8, 0x11).number(2, ENC_Int16, 0x2222).number(3, ENC_Uint64, 0x33);
    const ByteArray message = writer.message();
    EXPECT_EQ(hex(message), "07 00 03 01 00 CC 11 02 00 D1 22 22 03 00 CF 33 00 00 00 00 00 00 00");
    const auto items = itemsOf(message);
    ASSERT_TRUE(items);
    ASSERT_EQ(items->size(), 3u);
    EXPECT_EQ((*items)[1].number, 0x2222u);
    EXPECT_EQ((*items)[2].number, 0x33u);
    EXPECT_EQ(maskOf(ENC_Nil), 0u);
}
