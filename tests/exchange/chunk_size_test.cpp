// How large chunks are.
#include <gtest/gtest.h>

#include <exchange/ChunkSize.h>

using namespace hostlink::exchange;

TEST(PacketPayload, IsWhatHeaderAndTrailerLeave) {
    EXPECT_EQ(packetPayload(64), 54u);
    EXPECT_EQ(packetPayload(65535), 65525u);
    EXPECT_EQ(packetPayload(11), 1u);
}

TEST(PacketPayload, OfASizeThatIsNoneIsThatOf64) {
    EXPECT_EQ(packetPayload(0), 54u);
    EXPECT_EQ(packetPayload(-1), 54u);
}

TEST(PacketPayload, IsNeverNothing) {
    EXPECT_EQ(packetPayload(1), 1u);
    EXPECT_EQ(packetPayload(10), 1u);
}

// 256 packets of 54 bytes, and of 255; beyond that a message is at its end first.
TEST(LongestMessage, Fills256PacketsOr65535Bytes) {
    EXPECT_EQ(longestMessage(64), 13824u);
    EXPECT_EQ(longestMessage(265), 65280u);
    EXPECT_EQ(longestMessage(266), 65535u);
    EXPECT_EQ(longestMessage(65535), 65535u);
}

// 1000 + 22 bytes need 19 packets of 54 bytes, which hold 1026: 1004 data bytes.
TEST(FittingChunk, FillsAsManyPacketsAsTheWantedBytesNeed) {
    EXPECT_EQ(fittingChunk(64, 22, 1000), 1004u);
}

// One packet of 54 bytes less 22.
TEST(FittingChunk, FillsOnePacketWhenLittleIsWanted) {
    EXPECT_EQ(fittingChunk(64, 22, 1), 32u);
}

// One packet carries 4086 bytes, 4064 of them data.
TEST(FittingChunk, FillsALargePacketWhateverIsWanted) {
    EXPECT_EQ(fittingChunk(4096, 22, 1000), 4064u);
}

// A message has 65535 bytes: 65513 data bytes, rounded down to words.
TEST(FittingChunk, IsAtMostWhatAMessageHolds) {
    EXPECT_EQ(fittingChunk(65535, 22, 100000), 65512u);
}

// 255 packets of one byte less 22: 233, rounded down to words.
TEST(FittingChunk, IsAtMostWhatTheNumbersOfPacketsAllow) {
    EXPECT_EQ(fittingChunk(11, 22, 1000), 232u);
}

// 255 packets of one byte do not even hold a message with a name this long.
TEST(FittingChunk, IsAtLeastAWord) {
    EXPECT_EQ(fittingChunk(11, 300, 1000), 4u);
}
