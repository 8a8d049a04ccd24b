// The simulated host behind the devices: what it puts onto the bus and where it puts its line. Frames are written out
// by hand: FF FE, length, flags, frame id, packet id, 0, payload, two zero bytes.

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>

#include "RawCalls.h"

namespace {

using busrig::Bytes;
using raw::File;

/// An IRQ frame that asks for 64 bytes.
const Bytes irq64{0xFF, 0xFE, 0x0E, 0x00, 0x22, 0x05, 0x00, 0x00, 0x40, 0x00, 0x00, 0x00, 0x00, 0x00};
/// Response frames of the module.
const Bytes ack{0xFF, 0xFE, 0x08, 0x00, 0xA3, 0x06, 0x00, 0x00};
const Bytes nack{0xFF, 0xFE, 0x08, 0x00, 0x63, 0x06, 0x00, 0x00};

Bytes start(const Bytes& bytes, size_t count) {
    return Bytes(bytes.begin(), bytes.begin() + static_cast<long>(count));
}

/// The same conversation over either wire.
class HostOnTheBus : public RigTest, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        RigTest::SetUp();
        calm(rig);
    }
    bool isSpi() const { return GetParam() == std::string("spi"); }

    Bytes writeRead(Bytes out, size_t count) {
        Bytes in(count);
        const int done = isSpi() ? writeReadSpi(out, in) : writeReadI2c(out, in);
        EXPECT_GT(done, 0);
        return in;
    }
    void writeOnly(const Bytes& out) {
        EXPECT_EQ(ioctl(i2c.descriptor, I2C_SLAVE, 0x42L), 0);
        const int descriptor = isSpi() ? spi.descriptor : i2c.descriptor;
        EXPECT_EQ(write(descriptor, out.data(), out.size()), static_cast<ssize_t>(out.size()));
    }

private:
    int writeReadI2c(Bytes& out, Bytes& in) {
        i2c_msg messages[2] = {{0x42, 0, static_cast<unsigned short>(out.size()), out.data()},
                               {0x42, I2C_M_RD, static_cast<unsigned short>(in.size()), in.data()}};
        i2c_rdwr_ioctl_data request{messages, 2};
        return ioctl(i2c.descriptor, I2C_RDWR, &request);
    }
    int writeReadSpi(Bytes& out, Bytes& in) {
        spi_ioc_transfer transfers[2] = {};
        transfers[0].tx_buf = reinterpret_cast<uintptr_t>(out.data());
        transfers[0].len = static_cast<uint32_t>(out.size());
        transfers[1].rx_buf = reinterpret_cast<uintptr_t>(in.data());
        transfers[1].len = static_cast<uint32_t>(in.size());
        return ioctl(spi.descriptor, SPI_IOC_MESSAGE(2), transfers);
    }

    const File i2c{"/dev/i2c-1", O_RDWR};
    const File spi{"/dev/spidev0.0", O_RDWR};
};

INSTANTIATE_TEST_SUITE_P(Wires, HostOnTheBus, ::testing::Values("i2c", "spi"),
                         [](const auto& wire) { return std::string(wire.param); });

TEST_P(HostOnTheBus, AnswersAnIrqFrameWithoutAnythingToSend) {
    EXPECT_EQ(start(writeRead(irq64, 64), 8), (Bytes{0xFF, 0xFE, 0x08, 0x00, 0x23, 0x05, 0x00, 0x00}));
}

TEST_P(HostOnTheBus, AcknowledgesAMessagePacketInTheSameTransaction) {
    // A list message of one item would do; the host judges the packet before it reads the message.
    const Bytes packet{0xFF, 0xFE, 0x0D, 0x00, 0x23, 0x07, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(writeRead(packet, 8), (Bytes{0xFF, 0xFE, 0x08, 0x00, 0xA3, 0x07, 0x00, 0x00}));
    EXPECT_EQ(rig.count("messagesReceived"), 1U);
}

TEST_P(HostOnTheBus, PullsTheLineUntilItsPacketIsReadAndAgainForTheNext) {
    rig.press(7); // two messages: pressed and released
    EXPECT_FALSE(rig.level(17));
    const Bytes first = writeRead(irq64, 64);
    EXPECT_EQ(start(first, 2), (Bytes{0xFF, 0xFE}));
    EXPECT_EQ(first[4], 0x23);
    EXPECT_TRUE(rig.level(17));
    writeOnly(ack);
    EXPECT_FALSE(rig.level(17));
    EXPECT_NE(writeRead(irq64, 64), first);
    EXPECT_TRUE(rig.level(17));
    writeOnly(ack);
    EXPECT_TRUE(rig.level(17));
    EXPECT_EQ(rig.count("messagesSent"), 2U);
    EXPECT_EQ(rig.count("interrupts"), 2U);
}

TEST_P(HostOnTheBus, SendsARefusedPacketAgain) {
    rig.send({0x01, 0x02, 0x03});
    const Bytes first = writeRead(irq64, 64);
    writeOnly(nack);
    ASSERT_TRUE(rig.waitForCount("interrupts", 2));
    EXPECT_EQ(start(writeRead(irq64, 64), 13), start(first, 13));
    EXPECT_EQ(start(first, 13), (Bytes{0xFF, 0xFE, 0x0D, 0x00, 0x23, first[5], 0, 0, 0x01, 0x02, 0x03, 0, 0}));
    EXPECT_EQ(rig.count("nacksReceived"), 1U);
}

TEST_P(HostOnTheBus, RepeatsAnEdgeThatNobodyServes) {
    rig.reset(); // the usual host
    rig.send({0x01, 0x02, 0x03});
    EXPECT_TRUE(rig.waitForCount("interrupts", 3)); // every 250 ms
}

TEST_P(HostOnTheBus, DoesNotHearWhileItIsSilent) {
    rig.fault("silent 1");
    EXPECT_EQ(writeRead(irq64, 8), Bytes(8, 0xFF));
    EXPECT_EQ(rig.count("packetsReceived"), 0U);
    EXPECT_NE(writeRead(irq64, 8), Bytes(8, 0xFF));
}

TEST_P(HostOnTheBus, HearsButIsNotHeardWhileItIsMute) {
    rig.fault("mute 1");
    EXPECT_EQ(writeRead(irq64, 8), Bytes(8, 0xFF));
    EXPECT_EQ(rig.count("packetsReceived"), 1U);
}

TEST_P(HostOnTheBus, TakesItsOptionsAnew) {
    rig.command("host-options irqNackFirst=1,seed=3");
    rig.send({0x01, 0x02, 0x03});
    EXPECT_EQ(start(writeRead(irq64, 64), 8), (Bytes{0xFF, 0xFE, 0x08, 0x00, 0x63, 0x05, 0x00, 0x00}));
    EXPECT_EQ(rig.count("hostFaults"), 1U);
}

TEST_P(HostOnTheBus, IsOutOfTheGameInManualMode) {
    rig.slaveManual();
    rig.press(1);
    EXPECT_TRUE(rig.level(17));
    EXPECT_EQ(writeRead(irq64, 8), Bytes(8, 0xFF));
    rig.slaveAuto();
    EXPECT_FALSE(rig.level(17));
}

TEST_P(HostOnTheBus, IsAnotherOneOnTheSecondBoard) {
    busrig::RigControl second(busrig::secondBoard);
    calm(second);
    second.press(1);
    EXPECT_FALSE(second.level(27));
    EXPECT_TRUE(rig.level(17));
}

} // namespace
