// The checksums come from a bitwise CRC in Python: polynomial 0x04C11DB7, not reflected, initial register 0xFFFFFFFF,
// no final XOR, every four bytes fed in reverse, the end padded with zeros.
#include <gtest/gtest.h>

#include <exchange/TransferChecksum.h>

#include "support/Bytes.h"

using hostlink::exchange::TransferChecksum;

namespace {

void add(TransferChecksum& checksum, const ByteArray& data) {
    checksum.add(data.data(), data.size());
}

} // namespace

TEST(TransferChecksum, OfNothingIsTheInitialRegister) {
    EXPECT_EQ(TransferChecksum().value(), 0xFFFFFFFFu);
    EXPECT_EQ(TransferChecksum::of(nullptr, 0), 0xFFFFFFFFu);
}

TEST(TransferChecksum, GoesOnFromChunkToChunk) {
    TransferChecksum checksum;
    add(checksum, bytes("31 32 33 34"));
    EXPECT_EQ(checksum.value(), 0xC2091428u);
    add(checksum, bytes("35 36 37 38"));
    EXPECT_EQ(checksum.value(), 0xFEFC54F9u);
    add(checksum, bytes("39"));
    EXPECT_EQ(checksum.value(), 0xAFF19057u);
}

TEST(TransferChecksum, TakesMoreThanOneCallOfTheFunctionCore) {
    TransferChecksum checksum;
    add(checksum, patternBytes(70000));
    EXPECT_EQ(checksum.value(), 0x93D5E403u);
}
