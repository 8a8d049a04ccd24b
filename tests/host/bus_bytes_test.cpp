// The bus byte by byte, as the interrupts of an I2C or SPI peripheral deliver it.
#include <gtest/gtest.h>

#include "BusLine.h"
#include "support/Packets.h"

namespace {

using Told = std::vector<std::string>;

constexpr char getVolume[] = "FF FE 0F 00 23 11 00 00 02 00 01 09 00 00 00";
constexpr char ackOf11[] = "FF FE 08 00 A3 11 00 00";
constexpr char event[] = "FF FE 0D 00 23 00 00 00 06 00 00 00 00";
constexpr char irq64[] = "FF FE 0E 00 22 07 00 00 40 00 00 00 00 00";
constexpr char ack[] = "FF FE 08 00 A3 12 00 00";
constexpr char idle8[] = "FF FF FF FF FF FF FF FF";

/// A master that clocks an I2C device.
class I2cMaster : public BusLine {
public:
    using BusLine::BusLine;

    void start(const std::string& text) {
        hostLinkHostBusWriteBegins(&bus, now);
        for (const unsigned char byte : bytes(text)) hostLinkHostBusByteReceived(&bus, byte);
    }
    std::string clockIn(size_t count) {
        hostLinkHostBusReadBegins(&bus, now);
        ByteArray data(count);
        for (unsigned char& byte : data) byte = hostLinkHostBusByteRequested(&bus);
        return hex(data);
    }
    void stop() { hostLinkHostBusStops(&bus, now); }
};

/// A master that clocks an SPI device: sends bytes, then zeros, and sees what comes in beside the zeros.
class SpiMaster : public BusLine {
public:
    using BusLine::BusLine;

    std::string transfer(const std::string& text, size_t count) {
        ByteArray out = bytes(text);
        const size_t written = out.size();
        out.resize(written + count, 0);
        ByteArray in;
        unsigned char next = hostLinkHostBusSelected(&bus);
        for (const unsigned char byte : out) {
            in.push_back(next);
            next = hostLinkHostBusExchanged(&bus, byte);
        }
        hostLinkHostBusDeselected(&bus, now);
        return hex(slice(in, written, in.size()));
    }
    std::string read(size_t count) { return transfer("", count); }
};

} // namespace

TEST(HostI2c, AnswersBehindARepeatedStart) {
    I2cMaster master;
    master.start(getVolume);
    EXPECT_EQ(master.clockIn(10), padded(ackOf11, 10));
    master.stop();
    master.deliver();
    EXPECT_EQ(master.told, Told{"02 00 01 09 00"});
}

TEST(HostI2c, LooksAtAWriteWhenItStops) {
    I2cMaster master;
    master.start(getVolume);
    EXPECT_EQ(master.deliver(), 0);
    master.stop();
    EXPECT_EQ(master.deliver(), 1);
    EXPECT_EQ(master.clockIn(8), ackOf11);
    master.stop();
    EXPECT_EQ(master.clockIn(8), ackOf11);
}

TEST(HostI2c, LooksAtAWriteWhenAnotherOneBegins) {
    I2cMaster master;
    master.start(getVolume);
    master.start("FF FE 0D 00 23 12 00 00 02 00 00 00 00");
    master.stop();
    EXPECT_EQ(master.deliver(), 2);
    EXPECT_EQ(master.clockIn(8), "FF FE 08 00 A3 12 00 00");
}

TEST(HostI2c, AStopWithoutAWriteChangesNothing) {
    I2cMaster master;
    master.stop();
    master.start("");
    master.stop();
    EXPECT_EQ(master.clockIn(8), idle8);
    EXPECT_EQ(master.host.counts.badPackets, 0U);
}

TEST(HostI2c, DropsTheBytesBeyondTheLongestPacket) {
    I2cMaster master({}, 15);
    master.start(std::string(getVolume) + " 11 22 33");
    EXPECT_EQ(master.clockIn(8), ackOf11);
}

TEST(HostI2c, HoldsAWholeExchange) {
    I2cMaster master;
    master.send({6, 0, 0});
    EXPECT_TRUE(master.isLow());
    master.start(irq64);
    EXPECT_TRUE(master.isLow());
    EXPECT_EQ(master.clockIn(64), padded(event, 64));
    EXPECT_FALSE(master.isLow());
    master.stop();
    master.start(ack);
    master.stop();
    EXPECT_EQ(master.outcomes, Told{"1 sent"});
}

TEST(HostSpi, AnswersInTheNextRead) {
    SpiMaster master;
    EXPECT_EQ(master.transfer(getVolume, 8), idle8) << "the answer is not ready in the same transaction";
    EXPECT_EQ(master.read(8), ackOf11);
    EXPECT_EQ(master.read(12), padded(ackOf11, 12));
    EXPECT_EQ(master.deliver(), 1);
}

TEST(HostSpi, AReadIsNotTakenForAWrite) {
    SpiMaster master;
    EXPECT_EQ(master.read(8), idle8);
    EXPECT_EQ(master.read(1), "FF");
    EXPECT_EQ(master.read(0), "");
    EXPECT_EQ(master.host.counts.badPackets, 0U);
}

TEST(HostSpi, TheOldAnswerDoesNotShowBesideANewPacket) {
    SpiMaster master;
    master.transfer("FF FE 08 00 21 03 00 00", 8);
    EXPECT_EQ(master.read(8), "FF FE 08 00 A3 03 00 00");
    EXPECT_EQ(master.transfer(getVolume, 8), idle8);
    EXPECT_EQ(master.read(8), ackOf11);
}

TEST(HostSpi, AWriteWhoseFirstByteIsDamagedIsRefusedAndNotAnsweredAsTheOneBefore) {
    for (const char* first : {"00", "7F"}) {
        SpiMaster master;
        master.transfer("FF FE 08 00 21 03 00 00", 8);
        EXPECT_EQ(master.read(8), "FF FE 08 00 A3 03 00 00");
        const std::string damaged = std::string(first) + " FE 0F 00 23 11 00 00 02 00 01 09 00 00 00";
        EXPECT_EQ(master.transfer(damaged, 8), idle8);
        EXPECT_EQ(master.read(8), "FF FE 08 00 63 00 00 00");
    }
}

TEST(HostSpi, HoldsAWholeExchange) {
    SpiMaster master;
    master.send({6, 0, 0});
    EXPECT_TRUE(master.isLow());
    master.transfer(irq64, 64);
    EXPECT_TRUE(master.isLow());
    EXPECT_EQ(master.read(64), padded(event, 64));
    EXPECT_FALSE(master.isLow());
    master.transfer(ack, 0);
    EXPECT_EQ(master.outcomes, Told{"1 sent"});
}
