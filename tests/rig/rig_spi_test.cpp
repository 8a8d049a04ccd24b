// The SPI device of the rig, through the system calls that a program makes. The expected values are those of Linux'
// spidev.c and of Documentation/spi/spidev.rst.

#include <linux/spi/spidev.h>
#include <sys/ioctl.h>

#include "RawCalls.h"

namespace {

using busrig::Bytes;
using raw::resultOf;

class SpiDevice : public RigTest {
protected:
    void SetUp() override {
        RigTest::SetUp();
        ASSERT_EQ(device.error, 0);
        rig.slaveManual();
    }
    template <typename Value> long get(unsigned long command, Value& value) {
        return resultOf(ioctl(device.descriptor, command, &value));
    }
    template <typename Value> long set(unsigned long command, Value value) {
        return resultOf(ioctl(device.descriptor, command, &value));
    }
    static spi_ioc_transfer send(const Bytes& bytes) {
        spi_ioc_transfer transfer{};
        transfer.tx_buf = reinterpret_cast<uintptr_t>(bytes.data());
        transfer.len = static_cast<uint32_t>(bytes.size());
        return transfer;
    }
    static spi_ioc_transfer receive(Bytes& bytes) {
        spi_ioc_transfer transfer{};
        transfer.rx_buf = reinterpret_cast<uintptr_t>(bytes.data());
        transfer.len = static_cast<uint32_t>(bytes.size());
        return transfer;
    }
    long transferOne(spi_ioc_transfer transfer) {
        return resultOf(ioctl(device.descriptor, SPI_IOC_MESSAGE(1), &transfer));
    }
    long transferTwo(const spi_ioc_transfer& first, const spi_ioc_transfer& second) {
        spi_ioc_transfer transfers[2] = {first, second};
        return resultOf(ioctl(device.descriptor, SPI_IOC_MESSAGE(2), transfers));
    }

    const raw::File device{"/dev/spidev0.0", O_RDWR};
};

TEST_F(SpiDevice, KeepsItsSettings) {
    EXPECT_EQ(set<uint8_t>(SPI_IOC_WR_MODE, SPI_MODE_3), 0);
    EXPECT_EQ(set<uint8_t>(SPI_IOC_WR_BITS_PER_WORD, 16), 0);
    EXPECT_EQ(set<uint32_t>(SPI_IOC_WR_MAX_SPEED_HZ, 1234567), 0);
    uint8_t mode = 0xEE;
    uint8_t bits = 0xEE;
    uint8_t lsbFirst = 0xEE;
    uint32_t mode32 = 0xEEEEEEEE;
    uint32_t speed = 0;
    EXPECT_EQ(get(SPI_IOC_RD_MODE, mode), 0);
    EXPECT_EQ(get(SPI_IOC_RD_MODE32, mode32), 0);
    EXPECT_EQ(get(SPI_IOC_RD_BITS_PER_WORD, bits), 0);
    EXPECT_EQ(get(SPI_IOC_RD_MAX_SPEED_HZ, speed), 0);
    EXPECT_EQ(get(SPI_IOC_RD_LSB_FIRST, lsbFirst), 0);
    EXPECT_EQ(mode, SPI_MODE_3);
    EXPECT_EQ(mode32, static_cast<uint32_t>(SPI_MODE_3));
    EXPECT_EQ(bits, 16);
    EXPECT_EQ(speed, 1234567U);
    EXPECT_EQ(lsbFirst, 0);
}

TEST_F(SpiDevice, StartsInModeZeroWithEightBits) {
    uint8_t mode = 0xEE;
    uint8_t bits = 0xEE;
    EXPECT_EQ(get(SPI_IOC_RD_MODE, mode), 0);
    EXPECT_EQ(get(SPI_IOC_RD_BITS_PER_WORD, bits), 0);
    EXPECT_EQ(mode, SPI_MODE_0);
    EXPECT_EQ(bits, 8);
}

TEST_F(SpiDevice, SettingsBelongToTheDeviceAndStayButForTheSpeed) {
    uint32_t ownSpeed = 0;
    {
        const raw::File other("/dev/spidev0.1", O_RDWR);
        ASSERT_EQ(other.error, 0);
        EXPECT_EQ(resultOf(ioctl(other.descriptor, SPI_IOC_RD_MAX_SPEED_HZ, &ownSpeed)), 0);
        const uint8_t mode = SPI_MODE_3;
        const uint8_t bits = 16;
        const uint32_t speed = 1234567;
        EXPECT_EQ(resultOf(ioctl(other.descriptor, SPI_IOC_WR_MODE, &mode)), 0);
        EXPECT_EQ(resultOf(ioctl(other.descriptor, SPI_IOC_WR_BITS_PER_WORD, &bits)), 0);
        EXPECT_EQ(resultOf(ioctl(other.descriptor, SPI_IOC_WR_MAX_SPEED_HZ, &speed)), 0);
        const raw::File second("/dev/spidev0.1", O_RDWR);
        uint32_t seen = 0;
        EXPECT_EQ(resultOf(ioctl(second.descriptor, SPI_IOC_RD_MAX_SPEED_HZ, &seen)), 0);
        EXPECT_EQ(seen, speed);
    }
    busrig::RigControl second(busrig::secondBoard);
    waitUntilNobodyHas(second, "spiFilesOpen");
    const raw::File again("/dev/spidev0.1", O_RDWR);
    uint8_t mode = 0xEE;
    uint8_t bits = 0xEE;
    uint32_t speed = 0;
    EXPECT_EQ(resultOf(ioctl(again.descriptor, SPI_IOC_RD_MODE, &mode)), 0);
    EXPECT_EQ(resultOf(ioctl(again.descriptor, SPI_IOC_RD_BITS_PER_WORD, &bits)), 0);
    EXPECT_EQ(resultOf(ioctl(again.descriptor, SPI_IOC_RD_MAX_SPEED_HZ, &speed)), 0);
    EXPECT_EQ(mode, SPI_MODE_3);
    EXPECT_EQ(bits, 16);
    EXPECT_EQ(speed, ownSpeed);
}

TEST_F(SpiDevice, RefusesSettingsItDoesNotHave) {
    EXPECT_EQ(set<uint32_t>(SPI_IOC_WR_MODE32, 0x80000000), -EINVAL);
    EXPECT_EQ(set<uint8_t>(SPI_IOC_WR_BITS_PER_WORD, 33), -EINVAL);
    EXPECT_EQ(set<uint32_t>(SPI_IOC_WR_MAX_SPEED_HZ, 0), -EINVAL);
    EXPECT_EQ(resultOf(ioctl(device.descriptor, _IO('x', 1), 0)), -ENOTTY);
    EXPECT_EQ(resultOf(ioctl(device.descriptor, SPI_IOC_RD_MODE, nullptr)), -EFAULT);
}

TEST_F(SpiDevice, PlainWriteAndReadReachTheSlave) {
    rig.reply({0xAA});
    const Bytes out{0x01, 0x02};
    Bytes in(2);
    EXPECT_EQ(resultOf(write(device.descriptor, out.data(), out.size())), 2);
    EXPECT_EQ(resultOf(read(device.descriptor, in.data(), in.size())), 2);
    EXPECT_EQ(in, (Bytes{0xAA, 0xFF}));
    EXPECT_EQ(rig.busLog(), (std::vector<std::string>{"spi w 0102", "spi r aaff"}));
}

TEST_F(SpiDevice, PlainTransfersAboveTheDriversBufferAreRefused) {
    Bytes bytes(4097);
    EXPECT_EQ(resultOf(write(device.descriptor, bytes.data(), 4096)), 4096);
    EXPECT_EQ(resultOf(read(device.descriptor, bytes.data(), 4096)), 4096);
    EXPECT_EQ(resultOf(write(device.descriptor, bytes.data(), bytes.size())), -EMSGSIZE);
    EXPECT_EQ(resultOf(read(device.descriptor, bytes.data(), bytes.size())), -EMSGSIZE);
    EXPECT_EQ(rig.count("transactions"), 2U);
}

TEST_F(SpiDevice, OneMessageWritesThenReads) {
    rig.reply({0xFF, 0xFE, 0x08});
    const Bytes out{0x10, 0x20};
    Bytes in(3);
    EXPECT_EQ(transferTwo(send(out), receive(in)), 5);
    EXPECT_EQ(in, (Bytes{0xFF, 0xFE, 0x08}));
    EXPECT_EQ(rig.count("transactions"), 1U);
    EXPECT_EQ(rig.busLog(), (std::vector<std::string>{"spi w 1020", "spi r fffe08"}));
}

TEST_F(SpiDevice, TransfersInOneDirectionAreOnePhaseForTheSlave) {
    rig.reply({0x11, 0x22, 0x33});
    Bytes first(1);
    Bytes second(2);
    EXPECT_EQ(transferTwo(receive(first), receive(second)), 3);
    EXPECT_EQ(first, (Bytes{0x11}));
    EXPECT_EQ(second, (Bytes{0x22, 0x33}));
    EXPECT_EQ(transferTwo(send({0x01}), send({0x02})), 2);
    EXPECT_EQ(rig.busLog(), (std::vector<std::string>{"spi r 112233", "spi w 0102"}));
}

TEST_F(SpiDevice, TransferInBothDirectionsReadsWhatWasReady) {
    rig.reply({0x11, 0x22});
    const Bytes out{0x01, 0x02};
    Bytes in(2);
    spi_ioc_transfer both = send(out);
    both.rx_buf = reinterpret_cast<uintptr_t>(in.data());
    EXPECT_EQ(transferOne(both), 2);
    EXPECT_EQ(in, (Bytes{0x11, 0x22}));
    EXPECT_EQ(rig.busLog(), (std::vector<std::string>{"spi r 1122", "spi w 0102"}));
}

TEST_F(SpiDevice, MessageHasRoomForTheBufferInEachDirection) {
    const Bytes out(4096);
    Bytes in(4096);
    EXPECT_EQ(transferTwo(send(out), receive(in)), 8192);
    EXPECT_EQ(transferOne(send(Bytes(4097))), -EMSGSIZE);
    Bytes tooMuch(4097);
    EXPECT_EQ(transferOne(receive(tooMuch)), -EMSGSIZE);
    EXPECT_EQ(transferTwo(send(out), send({1})), -EMSGSIZE);
    EXPECT_EQ(rig.count("transactions"), 1U);
}

TEST_F(SpiDevice, MessageWithoutTransfersDoesNothing) {
    EXPECT_EQ(resultOf(ioctl(device.descriptor, _IOC(_IOC_WRITE, SPI_IOC_MAGIC, 0, 0), nullptr)), 0);
    EXPECT_EQ(rig.count("transactions"), 0U);
}

TEST_F(SpiDevice, MessageOfHalfATransferIsRefused) {
    char half[16] = {};
    EXPECT_EQ(resultOf(ioctl(device.descriptor, _IOW(SPI_IOC_MAGIC, 0, char[16]), half)), -EINVAL);
}

TEST_F(SpiDevice, WordsMustBeWhole) {
    spi_ioc_transfer transfer = send({1, 2, 3});
    transfer.bits_per_word = 16;
    EXPECT_EQ(transferOne(transfer), -EINVAL);
}

TEST_F(SpiDevice, BadPointersAreFoundBeforeTheBusIsUsed) {
    spi_ioc_transfer bad = send({1, 2, 3});
    bad.tx_buf = 16;
    EXPECT_EQ(transferOne(bad), -EFAULT);
    EXPECT_EQ(resultOf(ioctl(device.descriptor, SPI_IOC_MESSAGE(1), reinterpret_cast<void*>(16))), -EFAULT);
    EXPECT_EQ(rig.count("transactions"), 0U);
}

} // namespace
