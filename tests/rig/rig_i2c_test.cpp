// The I2C device of the rig, through the system calls that a program makes. The expected values are those of Linux'
// i2c-dev.c and of Documentation/i2c/dev-interface.rst.

#include <cstring>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>

#include "RawCalls.h"

namespace {

using busrig::Bytes;
using raw::resultOf;

constexpr unsigned long slaveAddress = 0x42;

class I2cDevice : public RigTest {
protected:
    void SetUp() override {
        RigTest::SetUp();
        ASSERT_EQ(device.error, 0);
        rig.slaveManual();
    }
    long control(unsigned long command, unsigned long argument) {
        return resultOf(ioctl(device.descriptor, command, argument));
    }
    long transfer(std::vector<i2c_msg> messages) {
        i2c_rdwr_ioctl_data request{messages.data(), static_cast<uint32_t>(messages.size())};
        return resultOf(ioctl(device.descriptor, I2C_RDWR, &request));
    }
    static i2c_msg message(Bytes& bytes, unsigned short flags, unsigned short address = slaveAddress) {
        return {address, flags, static_cast<unsigned short>(bytes.size()), bytes.data()};
    }
    long plainWrite(const Bytes& bytes) { return resultOf(write(device.descriptor, bytes.data(), bytes.size())); }
    long plainRead(Bytes& bytes) { return resultOf(read(device.descriptor, bytes.data(), bytes.size())); }

    const raw::File device{"/dev/i2c-1", O_RDWR};
};

TEST_F(I2cDevice, OffersPlainTransactions) {
    unsigned long functions = 0;
    ASSERT_EQ(ioctl(device.descriptor, I2C_FUNCS, &functions), 0);
    EXPECT_NE(functions & I2C_FUNC_I2C, 0U);
}

TEST_F(I2cDevice, TakesSevenBitAddressesOnly) {
    EXPECT_EQ(control(I2C_SLAVE, 0x00), 0);
    EXPECT_EQ(control(I2C_SLAVE, 0x7F), 0);
    EXPECT_EQ(control(I2C_SLAVE, 0x80), -EINVAL);
    EXPECT_EQ(control(I2C_SLAVE, ~0UL), -EINVAL);
}

TEST_F(I2cDevice, KnowsNoOtherControls) {
    EXPECT_EQ(control(0x07FF, 0), -ENOTTY);
    EXPECT_EQ(control(I2C_FUNCS, 0), -EFAULT);
}

TEST_F(I2cDevice, AddressBelongsToTheDescriptor) {
    const raw::File other("/dev/i2c-1", O_RDWR);
    ASSERT_EQ(control(I2C_SLAVE, slaveAddress), 0);
    EXPECT_EQ(plainWrite({1}), 1);
    EXPECT_EQ(resultOf(write(other.descriptor, "x", 1)), -ENXIO);
}

TEST_F(I2cDevice, NobodyAcknowledgesAnotherAddress) {
    ASSERT_EQ(control(I2C_SLAVE, 0x33), 0);
    EXPECT_EQ(plainWrite({1}), -ENXIO);
    Bytes bytes(1);
    EXPECT_EQ(plainRead(bytes), -ENXIO);
    EXPECT_EQ(transfer({message(bytes, 0, 0x33)}), -ENXIO);
    EXPECT_EQ(rig.count("transactions"), 0U);
}

TEST_F(I2cDevice, PlainWriteAndReadReachTheSlave) {
    ASSERT_EQ(control(I2C_SLAVE, slaveAddress), 0);
    rig.reply({0xAA, 0xBB});
    EXPECT_EQ(plainWrite({0x01, 0x02, 0x03}), 3);
    Bytes bytes(4);
    EXPECT_EQ(plainRead(bytes), 4);
    EXPECT_EQ(bytes, (Bytes{0xAA, 0xBB, 0xFF, 0xFF}));
    EXPECT_EQ(rig.busLog(), (std::vector<std::string>{"i2c w 010203", "i2c r aabbffff"}));
}

TEST_F(I2cDevice, PlainTransfersAreCutAt8192Bytes) {
    ASSERT_EQ(control(I2C_SLAVE, slaveAddress), 0);
    EXPECT_EQ(plainWrite(Bytes(8193)), 8192);
    Bytes bytes(20000);
    EXPECT_EQ(plainRead(bytes), 8192);
}

TEST_F(I2cDevice, CombinedTransactionWritesThenReads) {
    rig.reply({0xFF, 0xFE, 0x08});
    Bytes out{0x10, 0x20};
    Bytes in(3);
    EXPECT_EQ(transfer({message(out, 0), message(in, I2C_M_RD)}), 2);
    EXPECT_EQ(in, (Bytes{0xFF, 0xFE, 0x08}));
    EXPECT_EQ(rig.count("transactions"), 1U);
    EXPECT_EQ(rig.busLog(), (std::vector<std::string>{"i2c w 1020", "i2c r fffe08"}));
}

TEST_F(I2cDevice, CombinedTransactionNeedsNoAddressOfTheDescriptor) {
    Bytes out{0x10};
    EXPECT_EQ(transfer({message(out, 0)}), 1);
}

TEST_F(I2cDevice, CombinedTransactionTakesMessagesOf8192Bytes) {
    Bytes largest(8192);
    Bytes tooLarge(8193);
    EXPECT_EQ(transfer({message(largest, 0)}), 1);
    EXPECT_EQ(transfer({message(tooLarge, 0)}), -EINVAL);
    EXPECT_EQ(transfer({message(largest, 0), message(tooLarge, I2C_M_RD)}), -EINVAL);
    EXPECT_EQ(rig.count("transactions"), 1U);
}

TEST_F(I2cDevice, CombinedTransactionTakes42Messages) {
    Bytes byte{1};
    EXPECT_EQ(transfer(std::vector<i2c_msg>(I2C_RDWR_IOCTL_MAX_MSGS, message(byte, 0))), 42);
    EXPECT_EQ(transfer(std::vector<i2c_msg>(I2C_RDWR_IOCTL_MAX_MSGS + 1, message(byte, 0))), -EINVAL);
    EXPECT_EQ(transfer({}), -EINVAL);
}

TEST_F(I2cDevice, BadPointersAreFoundBeforeTheBusIsUsed) {
    Bytes out{1};
    i2c_msg bad = message(out, I2C_M_RD);
    bad.buf = reinterpret_cast<unsigned char*>(16);
    EXPECT_EQ(transfer({message(out, 0), bad}), -EFAULT);
    EXPECT_EQ(control(I2C_RDWR, 16), -EFAULT);
    i2c_rdwr_ioctl_data request{reinterpret_cast<i2c_msg*>(16), 1};
    EXPECT_EQ(resultOf(ioctl(device.descriptor, I2C_RDWR, &request)), -EFAULT);
    EXPECT_EQ(rig.count("transactions"), 0U);
}

TEST_F(I2cDevice, BoardsHaveBusesOfTheirOwn) {
    busrig::RigControl second(busrig::secondBoard);
    second.slaveManual();
    const raw::File other("/dev/i2c-2", O_RDWR);
    ASSERT_EQ(ioctl(other.descriptor, I2C_SLAVE, slaveAddress), 0);
    EXPECT_EQ(resultOf(write(other.descriptor, "x", 1)), 1);
    EXPECT_EQ(second.count("writes"), 1U);
    EXPECT_EQ(rig.count("writes"), 0U);
}

} // namespace
