// Views of binary values.
#include <gtest/gtest.h>

#include "MessageBuffers.h"

namespace {

/// A view in two pieces, each in a block of exact size.
struct TwoPieces {
    ExactBytes first;
    ExactBytes second;
    HostLinkBin16 view;

    TwoPieces(const ByteArray& a, const ByteArray& b)
        : first(a), second(b), view{first.data(), second.data(), first.size16(), second.size16()} {}
};

} // namespace

TEST(Bin16Get, ReadsBothPiecesAndZeroBehindThem) {
    const TwoPieces value(bytes("11 22 33"), bytes("44 55"));
    const int expected[] = {0x11, 0x22, 0x33, 0x44, 0x55, 0, 0};
    for (unsigned i = 0; i < 7; ++i) {
        EXPECT_EQ(hostLinkBin16Get(&value.view, static_cast<uint8_t>(i)), expected[i]) << i;
    }
    EXPECT_EQ(hostLinkBin16Get(&value.view, 255), 0);
}

TEST(Bin16Get, ReadsOnePiece) {
    const ExactBytes piece("11 22");
    const HostLinkBin16 view{piece.data(), nullptr, 2, 0};
    EXPECT_EQ(hostLinkBin16Get(&view, 0), 0x11);
    EXPECT_EQ(hostLinkBin16Get(&view, 1), 0x22);
    EXPECT_EQ(hostLinkBin16Get(&view, 2), 0);
    const HostLinkBin16 empty{nullptr, nullptr, 0, 0};
    EXPECT_EQ(hostLinkBin16Get(&empty, 0), 0);
}

TEST(Bin16Get, ReachesTheFirst256Bytes) {
    const TwoPieces value(patternBytes(200), patternBytes(1000));
    EXPECT_EQ(hostLinkBin16Get(&value.view, 199), patternBytes(200)[199]);
    EXPECT_EQ(hostLinkBin16Get(&value.view, 200), 3);
    EXPECT_EQ(hostLinkBin16Get(&value.view, 255), patternBytes(56)[55]);
}

TEST(Bin16Get, AddsTheLengthsWithoutWrapping) {
    const TwoPieces value(patternBytes(10), patternBytes(65535));
    EXPECT_EQ(hostLinkBin16Get(&value.view, 9), patternBytes(10)[9]);
    EXPECT_EQ(hostLinkBin16Get(&value.view, 10), 3);
    EXPECT_EQ(hostLinkBin16Get(&value.view, 255), patternBytes(246)[245]);
}

TEST(Bin16Copy, CopiesAWindowOfTheValue) {
    struct Row {
        const char* name;
        uint16_t offset;
        uint16_t maximum;
        const char* copied;
    };
    const Row rows[] = {
        {"all", 0, 5, "11 22 33 44 55"},
        {"all and room", 0, 65535, "11 22 33 44 55"},
        {"none", 0, 0, ""},
        {"first piece", 0, 3, "11 22 33"},
        {"inside the first piece", 1, 1, "22"},
        {"up to the end of the first piece", 1, 2, "22 33"},
        {"across", 1, 3, "22 33 44"},
        {"across to the end", 2, 3, "33 44 55"},
        {"across, cut at the end", 2, 9, "33 44 55"},
        {"second piece", 3, 2, "44 55"},
        {"inside the second piece", 3, 1, "44"},
        {"last byte", 4, 9, "55"},
        {"at the end", 5, 9, ""},
        {"behind the end", 6, 9, ""},
        {"far behind", 65535, 65535, ""},
    };
    for (const Row& row : rows) {
        const ByteArray expected = bytes(row.copied);
        const TwoPieces two(bytes("11 22 33"), bytes("44 55"));
        ExactBytes destination(expected.size());
        EXPECT_EQ(hostLinkBin16Copy(&two.view, destination.data(), row.offset, row.maximum), expected.size())
            << row.name;
        EXPECT_EQ(destination.text(), row.copied) << row.name;
        const ExactBytes piece("11 22 33 44 55");
        const HostLinkBin16 one{piece.data(), nullptr, 5, 0};
        ExactBytes other(expected.size());
        EXPECT_EQ(hostLinkBin16Copy(&one, other.data(), row.offset, row.maximum), expected.size()) << row.name;
        EXPECT_EQ(other.text(), row.copied) << row.name;
    }
}

TEST(Bin16Copy, OfOnePieceOfFiveBytesFromThreeCopiesTwo) {
    const ExactBytes piece("11 22 33 44 55");
    const HostLinkBin16 view{piece.data(), nullptr, 5, 0};
    ExactBytes destination(10);
    EXPECT_EQ(hostLinkBin16Copy(&view, destination.data(), 3, 10), 2);
    EXPECT_EQ(slice(destination.copy(), 0, 2), bytes("44 55"));
    EXPECT_TRUE(destination.isUntouched(2));
    EXPECT_EQ(hostLinkBin16Copy(&view, destination.data(), 5, 10), 0);
    EXPECT_TRUE(destination.isUntouched(2));
}

TEST(Bin16Copy, AddsTheLengthsWithoutWrapping) {
    const TwoPieces value(patternBytes(65535), patternBytes(65535));
    ExactBytes destination(65535);
    EXPECT_EQ(hostLinkBin16Copy(&value.view, destination.data(), 65535, 65535), 65535);
    EXPECT_TRUE(destination.copy() == patternBytes(65535));
    ExactBytes across(10);
    EXPECT_EQ(hostLinkBin16Copy(&value.view, across.data(), 65530, 10), 10);
    EXPECT_EQ(across.text(), hex(slice(patternBytes(65535), 65530, 65535) + patternBytes(5)));
}

TEST(Bin16Copy, TakesAnEmptyValue) {
    const HostLinkBin16 empty{nullptr, nullptr, 0, 0};
    ExactBytes destination(1);
    EXPECT_EQ(hostLinkBin16Copy(&empty, destination.data(), 0, 1), 0);
    EXPECT_TRUE(destination.isUntouched());
}
