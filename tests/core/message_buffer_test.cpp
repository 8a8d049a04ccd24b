// The buffer behind a message.
#include <gtest/gtest.h>

#include "MessageBuffers.h"

TEST(BufferSpaceAvailable, IsCapacityMinusUsedInSixteenBits) {
    struct Row {
        uint32_t capacity;
        uint32_t used;
        uint16_t space;
    };
    const Row rows[] = {
        {0, 0, 0},          {50, 0, 50},
        {50, 3, 47},        {50, 50, 0},
        {50, 51, 0},        {0, 0xFFFFFFFF, 0},
        {65535, 0, 65535},  {65536, 0, 0},
        {65537, 0, 1},      {65539, 3, 0},
        {65540, 3, 1},      {131072, 0, 0},
        {131071, 0, 65535}, {0xFFFFFFFF, 0, 65535},
    };
    for (const Row& row : rows) {
        const HostLinkLL buffer{nullptr, row.capacity, row.used};
        EXPECT_EQ(hostLinkLLSpaceAvailable(&buffer), row.space) << row.capacity << " − " << row.used;
    }
}

TEST(BufferAddData, CopiesToTheEndAndCountsIt) {
    Buffer buffer(5);
    const ExactBytes first("11 22"), second("33 44 55");
    hostLinkLLAddData(&buffer.ll, first.data(), 2);
    EXPECT_EQ(buffer.ll.used, 2u);
    EXPECT_EQ(buffer.block.text(), "11 22 A5 A5 A5");
    hostLinkLLAddData(&buffer.ll, second.data(), 3);
    EXPECT_EQ(buffer.message(), "11 22 33 44 55");
    hostLinkLLAddData(&buffer.ll, first.data(), 0);
    EXPECT_EQ(buffer.ll.used, 5u);
}

TEST(BufferAddData, DoesNothingWhenTheBytesDoNotFit) {
    Buffer buffer(4);
    const ExactBytes three("11 22 33");
    hostLinkLLAddData(&buffer.ll, three.data(), 3);
    hostLinkLLAddData(&buffer.ll, three.data(), 2);
    EXPECT_EQ(buffer.ll.used, 3u);
    EXPECT_EQ(buffer.block.text(), "11 22 33 A5");
    buffer.ll.used = 9; // more used than there is
    hostLinkLLAddData(&buffer.ll, three.data(), 1);
    EXPECT_EQ(buffer.ll.used, 9u);
    EXPECT_EQ(buffer.block.text(), "11 22 33 A5");
}

TEST(BufferAddData, UsesTheWholeOfALargeBuffer) {
    Buffer buffer(65536 + 2);
    const ExactBytes source(patternBytes(65535));
    hostLinkLLAddData(&buffer.ll, source.data(), 65535);
    hostLinkLLAddData(&buffer.ll, source.data(), 3);
    EXPECT_EQ(buffer.ll.used, 65538u);
    EXPECT_TRUE(buffer.block.copy() == source.copy() + bytes("03 0A 11"));
}

TEST(BufferGetCountPtr, IsTwoBytesIn) {
    Buffer buffer("01 00 07");
    EXPECT_EQ(hostLinkLLGetCountPtr(&buffer.ll), buffer.block.data() + 2);
}

TEST(BufferGetCountPtr, IsNullWithoutStorage) {
    const HostLinkLL buffer{nullptr, 10, 3};
    EXPECT_EQ(hostLinkLLGetCountPtr(&buffer), nullptr);
}

TEST(BufferIsInitialized, NeedsThreeBytesUsed) {
    for (const uint32_t used : {0u, 1u, 2u}) {
        const HostLinkLL buffer{nullptr, 10, used};
        EXPECT_EQ(hostLinkLLIsInitialized(&buffer), 13u) << used;
    }
    for (const uint32_t used : {3u, 4u, 65535u, 65536u, 65538u, 0xFFFFFFFFu}) {
        const HostLinkLL buffer{nullptr, 10, used};
        EXPECT_EQ(hostLinkLLIsInitialized(&buffer), 0u) << used;
    }
}

TEST(BufferMsgSize, IsUsedInSixteenBits) {
    struct Row {
        uint32_t used;
        uint16_t size;
    };
    const Row rows[] = {{0, 0}, {3, 3}, {65535, 65535}, {65536, 0}, {65539, 3}, {0xFFFFFFFF, 65535}};
    for (const Row& row : rows) {
        const HostLinkLL buffer{nullptr, 0xFFFFFFFF, row.used};
        EXPECT_EQ(hostLinkLLMsgSize(&buffer), row.size) << row.used;
        EXPECT_EQ(hostLinkMessageDataLen(&buffer), row.size) << row.used;
    }
}

TEST(BufferCpy, CopiesFromTheOffset) {
    const Buffer buffer("11 22 33 44 55");
    ExactBytes destination(3);
    hostLinkLLCpy(&buffer.ll, destination.data(), 1, 3);
    EXPECT_EQ(destination.text(), "22 33 44");
    hostLinkLLCpy(&buffer.ll, destination.data(), 4, 1);
    EXPECT_EQ(destination.text(), "55 33 44");
    hostLinkLLCpy(&buffer.ll, destination.data(), 0, 0);
    EXPECT_EQ(destination.text(), "55 33 44");
}

TEST(BufferCpy, CopiesOnlyWhatTheStorageHolds) {
    const Buffer buffer("11 22 33 44 55");
    ExactBytes destination(4);
    hostLinkLLCpy(&buffer.ll, destination.data(), 3, 4);
    EXPECT_EQ(destination.text(), "44 55 A5 A5");
    for (const int offset : {5, 6, 255, 65535}) {
        ExactBytes untouched(4);
        hostLinkLLCpy(&buffer.ll, untouched.data(), static_cast<uint16_t>(offset), 4);
        EXPECT_TRUE(untouched.isUntouched()) << offset;
    }
}

TEST(BufferCpy, ReachesStorageBehindTheMessage) {
    const Buffer buffer(bytes("11 22"), 4);
    ExactBytes destination(2, 0);
    hostLinkLLCpy(&buffer.ll, destination.data(), 1, 2);
    EXPECT_EQ(destination.text(), "22 A5");
}

TEST(BufferGetData, MakesAViewInOnePiece) {
    const Buffer buffer("11 22 33 44 55");
    HostLinkBin16 view{buffer.block.data(), buffer.block.data(), 77, 88};
    hostLinkLLGetData(&buffer.ll, 3, 2, &view);
    EXPECT_EQ(view.first, buffer.block.data() + 2);
    EXPECT_EQ(view.firstLength, 3);
    EXPECT_EQ(view.second, nullptr);
    EXPECT_EQ(view.secondLength, 0);
}
