// The checksum of data transfers.
#include <hostlink/HostLinkLib.h>

#include <array>
#include <cstddef>
#include <memory>

#include <gtest/gtest.h>

#include "support/Bytes.h"

namespace {

#include "vectors/checksums.inc"
#include "vectors/crc_table.inc"
#include "vectors/pattern_checksums.inc"

constexpr uint16_t tableSize = 256;

/// A table in a heap block of exactly its size, filled.
class Table {
public:
    Table() : entries(new uint32_t[tableSize]) { EXPECT_EQ(genDataTransferCrc32Table(entries.get(), tableSize), 1u); }
    const uint32_t* data() const { return entries.get(); }

private:
    std::unique_ptr<uint32_t[]> entries;
};

uint32_t checksum(const ByteArray& data) {
    const Table table;
    const ExactBytes block(data);
    return dataTransferCalcCrc32(table.data(), tableSize, block.data(), block.size16());
}

} // namespace

TEST(ChecksumTable, Has256Entries) {
    EXPECT_EQ(dataTransferCrc32TableSize(), 256);
}

TEST(ChecksumTable, EqualsTheTableOfAnIndependentProgram) {
    const Table table;
    for (size_t i = 0; i < tableSize; ++i) EXPECT_EQ(table.data()[i], crcTableVector[i]) << i;
    EXPECT_EQ(table.data()[1], 0x04C11DB7u);
    EXPECT_EQ(table.data()[255], 0xB1F740B4u);
}

TEST(ChecksumTable, IsLeftUntouchedWhenTheCountIsNot256) {
    for (const unsigned count : {0u, 1u, 255u, 257u, 512u, 65535u}) {
        std::array<uint32_t, 2> entries{0xA5A5A5A5u, 0x5A5A5A5Au};
        EXPECT_EQ(genDataTransferCrc32Table(entries.data(), static_cast<uint16_t>(count)), 0u) << count;
        EXPECT_EQ(entries[0], 0xA5A5A5A5u) << count;
        EXPECT_EQ(entries[1], 0x5A5A5A5Au) << count;
    }
}

TEST(Checksum, EqualsTheValuesOfAnIndependentProgram) {
    for (const ChecksumVector& row : checksumVectors) EXPECT_EQ(checksum(bytes(row.data)), row.checksum) << row.name;
}

TEST(Checksum, HasItsKnownValues) {
    EXPECT_EQ(checksum(bytes("31 32 33 34 35 36 37 38")), 0xFEFC54F9u);
    EXPECT_EQ(checksum(bytes("01 02 03 04")), 0x1DABE74Fu);
    EXPECT_EQ(checksum(bytes("00 00 00 00")), 0xC704DD7Bu);
}

TEST(Checksum, EqualsTheValuesOfAnIndependentProgramAtEveryLength) {
    for (const PatternChecksumVector& row : patternChecksumVectors) {
        EXPECT_EQ(checksum(patternBytes(row.length)), row.checksum) << row.length;
    }
}

TEST(Checksum, OfNothingIsTheInitialRegister) {
    const Table table;
    EXPECT_EQ(dataTransferCalcCrc32(table.data(), tableSize, nullptr, 0), 0xFFFFFFFFu);
}

TEST(Checksum, IsZeroWhenTheCountIsNot256) {
    const Table table;
    const ExactBytes data("01 02 03 04");
    for (const unsigned count : {0u, 1u, 255u, 257u, 65535u}) {
        EXPECT_EQ(dataTransferCalcCrc32(table.data(), static_cast<uint16_t>(count), data.data(), 4), 0u) << count;
        EXPECT_EQ(dataTransferCalcCrc32(table.data(), static_cast<uint16_t>(count), data.data(), 0), 0u)
            << count << ": the count is looked at before the length";
    }
}

TEST(Checksum, TakesTheBytesBehindALengthThatIsNoMultipleOfFour) {
    const Table table;
    const ExactBytes data("31 32 33 34 35 36 37 38");
    for (const unsigned length : {5u, 6u, 7u, 8u}) {
        EXPECT_EQ(dataTransferCalcCrc32(table.data(), tableSize, data.data(), static_cast<uint16_t>(length)),
                  0xFEFC54F9u)
            << length;
    }
    for (const unsigned length : {1u, 2u, 3u, 4u}) {
        EXPECT_EQ(dataTransferCalcCrc32(table.data(), tableSize, data.data(), static_cast<uint16_t>(length)),
                  checksum(bytes("31 32 33 34")))
            << length;
    }
    for (size_t changed = 5; changed < 8; ++changed) {
        ExactBytes other(data.copy());
        other[changed] = 0xFF;
        EXPECT_NE(dataTransferCalcCrc32(table.data(), tableSize, other.data(), 5), 0xFEFC54F9u) << changed;
    }
}

TEST(Checksum, TakesUpTo65532Bytes) {
    const Table table;
    const ExactBytes data(patternBytes(65532));
    const uint32_t expected = checksum(data.copy());
    EXPECT_NE(expected, 0u);
    for (const unsigned length : {65529u, 65530u, 65531u, 65532u}) {
        EXPECT_EQ(dataTransferCalcCrc32(table.data(), tableSize, data.data(), static_cast<uint16_t>(length)), expected);
    }
}

TEST(Checksum, RefusesMoreThan65532Bytes) {
    const Table table;
    const ExactBytes data(patternBytes(65536));
    for (const unsigned length : {65533u, 65534u, 65535u}) {
        EXPECT_EQ(dataTransferCalcCrc32(table.data(), tableSize, data.data(), static_cast<uint16_t>(length)), 0u);
    }
}

TEST(Checksum, ReadsUnalignedData) {
    const Table table;
    for (size_t start = 0; start < 8; ++start) {
        const ExactBytes block(ByteArray(start, 0xEE) + bytes("31 32 33 34 35 36 37 38"));
        EXPECT_EQ(dataTransferCalcCrc32(table.data(), tableSize, block.data() + start, 8), 0xFEFC54F9u) << start;
    }
}

TEST(Checksum, UsesTheTableItIsGiven) {
    const std::unique_ptr<uint32_t[]> zeros(new uint32_t[tableSize]());
    const ExactBytes data("01 02 03 04");
    EXPECT_EQ(dataTransferCalcCrc32(zeros.get(), tableSize, data.data(), 4), 0u);
    const ExactBytes more("01 02 03 04 05");
    EXPECT_EQ(dataTransferCalcCrc32(zeros.get(), tableSize, more.data(), 1), 0u);
}
