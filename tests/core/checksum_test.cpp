// The checksum of data transfers.
#include <array>
#include <cstddef>
#include <memory>
#include <random>

#include <gtest/gtest.h>

#include <hostlink/HostLinkLib.h>

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

/// The register as it is defined: one bit after the other, without a table.
uint32_t checksumBitByBit(const uint8_t* data, size_t length) {
    uint32_t c = 0xFFFFFFFF;
    for (size_t word = 0; word < length; word += 4) {
        for (size_t byte = word + 4; byte-- > word;) {
            for (int bit = 7; bit >= 0; --bit) {
                const bool out = ((c >> 31) ^ (data[byte] >> bit & 1u)) != 0;
                c = out ? c << 1 ^ 0x04C11DB7u : c << 1;
            }
        }
    }
    return c;
}

/// What a table stands for: one look-up for each byte, by the register's top byte.
uint32_t checksumByLookUps(const uint32_t* table, const uint8_t* data, size_t length) {
    uint32_t c = 0xFFFFFFFF;
    for (size_t word = 0; word < length; word += 4) {
        for (size_t byte = word + 4; byte-- > word;) c = table[(c >> 24 ^ data[byte]) & 0xFF] ^ c << 8;
    }
    return c;
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

TEST(Checksum, EqualsTheDefinitionAtEveryLengthAndAlignment) {
    const Table table;
    std::mt19937 random(32);
    for (size_t length = 0; length <= 260; ++length) {
        for (size_t start = 0; start < 8; ++start) {
            ByteArray data(start + (length + 3) / 4 * 4);
            for (auto& byte : data) byte = static_cast<unsigned char>(random());
            const ExactBytes block(data);
            EXPECT_EQ(
                dataTransferCalcCrc32(table.data(), tableSize, block.data() + start, static_cast<uint16_t>(length)),
                checksumBitByBit(block.data() + start, length))
                << length << " bytes from " << start;
        }
    }
}

TEST(Checksum, EqualsTheDefinitionOfLongBlocks) {
    const Table table;
    std::mt19937 random(4096);
    for (const size_t length : {4096u, 32768u, 65532u}) {
        ByteArray data(length);
        for (auto& byte : data) byte = static_cast<unsigned char>(random());
        EXPECT_EQ(checksum(data), checksumBitByBit(data.data(), length)) << length;
    }
}

TEST(Checksum, LooksUpWhateverTheTableHolds) {
    std::mt19937 random(256);
    for (int run = 0; run < 50; ++run) {
        const std::unique_ptr<uint32_t[]> table(new uint32_t[tableSize]);
        for (size_t i = 0; i < tableSize; ++i) table[i] = static_cast<uint32_t>(random());
        ByteArray data(4 * (random() % 40 + 1));
        for (auto& byte : data) byte = static_cast<unsigned char>(random());
        const ExactBytes block(data);
        EXPECT_EQ(dataTransferCalcCrc32(table.get(), tableSize, block.data(), block.size16()),
                  checksumByLookUps(table.get(), block.data(), data.size()));
    }
}
