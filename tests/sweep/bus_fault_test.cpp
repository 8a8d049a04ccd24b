// What the I2C and the SPI bus do and say when one certain system call fails.
#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include <serialcomm/I2c.h>
#include <serialcomm/Spi.h>

#include "FaultTest.h"
#include "PlayedBoard.h"
#include "support/Packets.h"
#include "support/ProcessWatch.h"

using namespace sweep;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const ByteArray packet = messageEnd(1, 0, {1, 2, 3}); // 13 bytes
constexpr Failure half{Failure::Kind::Half, 0};
constexpr Failure nothing{Failure::Kind::Nothing, 0};

class BusFault : public FaultTest<PlayedBoard> {
protected:
    BusFault(std::unique_ptr<SerialBus> over, std::string name)
        : FaultTest("SerialComm"), bus(std::move(over)), device(std::move(name)) {}

    bool open() {
        return underTest([this] { return bus->open(); });
    }
    ByteArray read(int size) {
        return underTest([&] { return bus->read(size); });
    }
    bool write(const ByteArray& data) {
        return underTest([&] { return bus->write(data); });
    }
    ByteArray writeRead(const ByteArray& data, int size) {
        return underTest([&] { return bus->writeRead(data, size); });
    }

    void expectLine(const std::string& what) {
        EXPECT_THAT(errors(), ElementsAre(device + ": " + what));
        log.clear();
    }
    void expectRefusal(const std::string& what) {
        const auto descriptors = openDescriptors();
        EXPECT_FALSE(open());
        EXPECT_EQ(openDescriptors(), descriptors);
        expectLine(what);
    }

    std::unique_ptr<SerialBus> bus;
    const std::string device;
};

class I2cFault : public BusFault {
protected:
    I2cFault()
        : BusFault(std::make_unique<I2c>(PlayedBoard::i2cPath, 0x42),
                   "I2c " + std::string(PlayedBoard::i2cPath) + " address 0x42") {}
};

class SpiFault : public BusFault {
protected:
    SpiFault()
        : BusFault(std::make_unique<Spi>(PlayedBoard::spiPath, 1000000, 0),
                   "Spi " + std::string(PlayedBoard::spiPath)) {}
};

// --- I2C ---

TEST_F(I2cFault, BusOfSmbusCommandsOnlyIsRefused) {
    kernel.i2cFunctions = 0x00fe0000; // I2C_FUNC_SMBUS_BYTE to ..._BLOCK_DATA of <linux/i2c.h>
    expectRefusal("the bus does SMBus commands only; plain I2C transfers are needed");
}

TEST_F(I2cFault, BusThatDoesNotTellWhatItCanDoIsTried) {
    kernel.i2cFunctions = 0;
    failNext("ioctl", ENOTTY);
    EXPECT_TRUE(open());
    EXPECT_TRUE(write(packet));
}

TEST_F(I2cFault, AddressThatADriverHoldsIsRefused) {
    failNext("ioctl", EBUSY, 2);
    expectRefusal("is in use by a kernel driver");
}

TEST_F(I2cFault, FileThatIsNoBusIsRefused) {
    failNext("ioctl", ENOTTY, 2);
    expectRefusal("not an I2C bus; give the path of a bus device such as /dev/i2c-1");
}

TEST_F(I2cFault, AddressThatCannotBeSetIsRefused) {
    failNext("ioctl", EINVAL, 2);
    expectRefusal("cannot set the address: Invalid argument");
}

TEST_F(I2cFault, DeviceThatDoesNotAcknowledgeIsToldInBothWays) {
    ASSERT_TRUE(open());
    for (const auto& [error, text] : {std::pair(ENXIO, "No such device or address"), {EREMOTEIO, "Remote I/O error"}}) {
        failNext("ioctl", error);
        EXPECT_THAT(writeRead(packet, 8), IsEmpty());
        expectLine(std::string("cannot write and read (the device does not acknowledge): ") + text);
    }
}

TEST_F(I2cFault, ShortTransfersAreFailures) {
    ASSERT_TRUE(open());
    failNext("write", half);
    EXPECT_FALSE(write(packet));
    expectLine("write cut short: 6 of 13");
    failNext("read", half);
    EXPECT_THAT(read(8), IsEmpty());
    expectLine("read cut short: 4 of 8");
    failNext("read", nothing);
    EXPECT_THAT(read(8), IsEmpty());
    expectLine("read cut short: 0 of 8");
    failNext("ioctl", half);
    EXPECT_THAT(writeRead(packet, 8), IsEmpty());
    expectLine("write and read cut short: 1 of 2");
}

TEST_F(I2cFault, EmptyHalvesOfATransactionAreLeftOut) {
    ASSERT_TRUE(open());
    CallLog::instance().begin();
    EXPECT_THAT(writeRead(packet, 0), IsEmpty());
    EXPECT_EQ(calls("write"), 1U);
    EXPECT_EQ(writeRead({}, 8), responseFrame(0xA3, 0));
    EXPECT_EQ(calls("read"), 1U);
    EXPECT_THAT(writeRead({}, 0), IsEmpty());
    EXPECT_THAT(read(0), IsEmpty());
    EXPECT_TRUE(write({}));
    EXPECT_EQ(CallLog::instance().calls().size(), 2U);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(I2cFault, SecondOpenIsRefusedAndTheBusStaysOpen) {
    ASSERT_TRUE(open());
    expectRefusal("is open already; make another object to open it again");
    EXPECT_TRUE(write(packet));
}

// --- SPI ---

TEST_F(SpiFault, FileThatIsNoDeviceIsRefused) {
    failNext("ioctl", ENOTTY);
    expectRefusal("not an SPI device; give the path of one such as /dev/spidev0.0");
}

TEST_F(SpiFault, EachSettingThatFailsIsToldByItsName) {
    const char* settings[] = {"the mode", "8 bits per word", "the speed"};
    for (std::size_t i = 0; i < std::size(settings); ++i) {
        failNext("ioctl", EINVAL, i + 1);
        expectRefusal(std::string("cannot set ") + settings[i] + ": Invalid argument");
    }
}

TEST_F(SpiFault, ShortTransfersAreFailures) {
    ASSERT_TRUE(open());
    failNext("ioctl", half);
    EXPECT_FALSE(write(packet));
    expectLine("write cut short: 12 of 13");
    failNext("ioctl", half);
    EXPECT_THAT(read(8), IsEmpty());
    expectLine("read cut short: 7 of 8");
    failNext("ioctl", nothing);
    EXPECT_THAT(writeRead(packet, 8), IsEmpty());
    expectLine("write and read cut short: 0 of 21");
}

TEST_F(SpiFault, EmptyHalvesOfATransactionAreLeftOut) {
    ASSERT_TRUE(open());
    CallLog::instance().begin();
    EXPECT_THAT(writeRead(packet, 0), IsEmpty());
    EXPECT_EQ(kernel.written(), std::vector<ByteArray>{packet});
    EXPECT_EQ(writeRead({}, 8), responseFrame(0xA3, 0));
    EXPECT_EQ(calls("ioctl"), 2U);
    EXPECT_THAT(read(0), IsEmpty());
    EXPECT_TRUE(write({}));
    EXPECT_EQ(calls("ioctl"), 2U);
}

TEST_F(SpiFault, SecondOpenIsRefusedAndTheBusStaysOpen) {
    ASSERT_TRUE(open());
    expectRefusal("is open already; make another object to open it again");
    EXPECT_TRUE(write(packet));
}

// --- Two objects of one device ---

// A board on which something happens while a bus is being opened.
class BusyBoard : public PlayedBoard {
public:
    Answer open(const char* path, int flags) override {
        if (meanwhile) std::exchange(meanwhile, nullptr)();
        return PlayedBoard::open(path, flags);
    }

    std::function<void()> meanwhile; // once
};

// Made by the test: the objects of a fixture would not do, since what is shared is between two.
template <typename Bus> class SharedBus : public FaultTest<BusyBoard> {
protected:
    SharedBus() : FaultTest("SerialComm") {}

    template <typename... Arguments> static std::unique_ptr<Bus> make(Arguments... arguments) {
        return std::make_unique<Bus>(arguments...);
    }
    static bool open(Bus& bus) {
        return underTest([&] { return bus.open(); });
    }
    static bool write(Bus& bus) {
        return underTest([&] { return bus.write(packet); });
    }
    static void destroy(std::unique_ptr<Bus>& bus) {
        underTest([&] { bus.reset(); });
    }
};

class SharedI2c : public SharedBus<I2c> {
protected:
    static std::unique_ptr<I2c> make(int address = 0x42) { return SharedBus::make(path, address); }
    static constexpr auto path = "/dev/i2c-played-shared";
};

class SharedSpi : public SharedBus<Spi> {
protected:
    static std::unique_ptr<Spi> make(int hertz = 1000000, uint8_t mode = 0) {
        return SharedBus::make(path, hertz, mode);
    }
    static constexpr auto path = "/dev/spidev-played-shared";
};

TEST_F(SharedI2c, SameAddressTakesOneDescriptor) {
    auto first = make();
    auto second = make();
    ASSERT_TRUE(open(*first));
    ASSERT_TRUE(open(*second));
    EXPECT_EQ(kernel.busDescriptors(), 1U);
    EXPECT_TRUE(write(*first));
    EXPECT_TRUE(write(*second));
    destroy(first);
    EXPECT_EQ(kernel.busDescriptors(), 1U);
    EXPECT_TRUE(write(*second));
    destroy(second);
    EXPECT_EQ(kernel.busDescriptors(), 0U);
}

TEST_F(SharedI2c, DeviceThatWasClosedIsOpenedAgain) {
    for (int round = 0; round < 2; ++round) {
        auto bus = make();
        ASSERT_TRUE(open(*bus));
        EXPECT_TRUE(write(*bus));
        destroy(bus);
        EXPECT_EQ(kernel.busDescriptors(), 0U);
    }
}

TEST_F(SharedI2c, OtherAddressTakesItsOwn) {
    auto first = make(0x42);
    auto second = make(0x43);
    ASSERT_TRUE(open(*first));
    ASSERT_TRUE(open(*second));
    EXPECT_EQ(kernel.busDescriptors(), 2U);
}

TEST_F(SharedI2c, DeviceThatWasReplacedIsOpenedAnew) {
    auto first = make();
    auto second = make();
    auto third = make();
    ASSERT_TRUE(open(*first));
    kernel.replugBuses();
    ASSERT_TRUE(open(*second));
    EXPECT_EQ(kernel.busDescriptors(), 2U);
    ASSERT_TRUE(open(*third));
    EXPECT_EQ(kernel.busDescriptors(), 2U) << "the new one is shared";
    destroy(second);
    destroy(third);
    EXPECT_EQ(kernel.busDescriptors(), 1U);
    EXPECT_TRUE(write(*first));
}

// Where nobody takes the device file away, the driver tells.
TEST_F(SharedI2c, DescriptorOfADeviceThatIsGoneIsNotTaken) {
    constexpr std::size_t setAddress = 2; // the request before it, I2C_FUNCS, need not work
    auto first = make();
    auto second = make();
    auto third = make();
    ASSERT_TRUE(open(*first));
    failNext("ioctl", ENODEV, setAddress);
    ASSERT_TRUE(open(*second));
    EXPECT_EQ(kernel.busDescriptors(), 2U);
    ASSERT_TRUE(open(*third));
    EXPECT_EQ(kernel.busDescriptors(), 2U) << "the new one is shared";
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(SharedI2c, PathThatLeadsNowhereIsOpenedAnew) {
    auto first = make();
    auto second = make();
    ASSERT_TRUE(open(*first));
    CallLog::instance().begin(Fault{"stat", 1, {Failure::Kind::Error, ENOENT}});
    ASSERT_TRUE(open(*second));
    EXPECT_EQ(calls("open"), 1U);
}

// Neither has a descriptor that the other could take, and nobody waits for the other.
TEST_F(SharedI2c, TwoThatAreOpenedAtOnceTakeOneDescriptor) {
    auto first = make();
    auto second = make();
    kernel.meanwhile = [&] { EXPECT_TRUE(open(*second)); };
    ASSERT_TRUE(open(*first));
    EXPECT_EQ(calls("open"), 2U);
    EXPECT_EQ(kernel.busDescriptors(), 1U);
    EXPECT_TRUE(write(*first));
    destroy(first);
    EXPECT_TRUE(write(*second));
}

// The one that was opened last is what stands at the path.
TEST_F(SharedI2c, TwoThatAreOpenedAtOnceWhileTheDeviceIsReplacedTakeTwo) {
    auto first = make();
    auto second = make();
    kernel.meanwhile = [&] {
        EXPECT_TRUE(open(*second));
        kernel.replugBuses();
    };
    ASSERT_TRUE(open(*first));
    EXPECT_EQ(kernel.busDescriptors(), 2U);
    auto third = make();
    ASSERT_TRUE(open(*third));
    EXPECT_EQ(kernel.busDescriptors(), 2U);
    destroy(second);
    EXPECT_EQ(kernel.busDescriptors(), 1U) << "the third has that of the first";
}

TEST_F(SharedI2c, OneWhoseOpeningFailsLeavesTheOtherAlone) {
    auto first = make();
    auto second = make();
    ASSERT_TRUE(open(*first));
    kernel.i2cFunctions = 0x00fe0000; // SMBus commands only
    EXPECT_FALSE(open(*second));
    EXPECT_EQ(kernel.busDescriptors(), 1U);
    EXPECT_EQ(errors().size(), 1U) << "one line, not one for each attempt";
    EXPECT_TRUE(write(*first));
}

TEST_F(SharedSpi, SameSpeedAndModeTakeOneDescriptor) {
    auto first = make();
    auto second = make();
    ASSERT_TRUE(open(*first));
    ASSERT_TRUE(open(*second));
    EXPECT_EQ(kernel.busDescriptors(), 1U);
    destroy(first);
    EXPECT_TRUE(write(*second));
    destroy(second);
    EXPECT_EQ(kernel.busDescriptors(), 0U);
}

TEST_F(SharedSpi, OtherSpeedOrModeTakesItsOwn) {
    auto first = make(1000000, 0);
    auto faster = make(2000000, 0);
    auto other = make(1000000, 1);
    ASSERT_TRUE(open(*first));
    ASSERT_TRUE(open(*faster));
    ASSERT_TRUE(open(*other));
    EXPECT_EQ(kernel.busDescriptors(), 3U);
}

// spidev keeps the settings for the device, whichever descriptor they are made on: the last who opens it has his.
TEST_F(SharedSpi, SettingsAreMadeAgain) {
    auto first = make();
    auto second = make();
    ASSERT_TRUE(open(*first));
    CallLog::instance().begin();
    ASSERT_TRUE(open(*second));
    EXPECT_EQ(calls("ioctl"), 3U);
}

// The most that the driver takes at once, by its parameter file.
class SpiBufferSize : public SpiFault {
protected:
    void expectLimit(std::size_t limit) {
        ASSERT_TRUE(open());
        EXPECT_TRUE(write(ByteArray(limit)));
        EXPECT_THAT(errors(), IsEmpty());
        EXPECT_FALSE(write(ByteArray(limit + 1)));
        expectLine("cannot write " + std::to_string(limit + 1) + " bytes: the driver takes " + std::to_string(limit) +
                   " at once");
    }
};

TEST_F(SpiBufferSize, IsWhatTheFileSays) {
    kernel.spiBufferSize = "65536\n";
    expectLimit(65536);
}

TEST_F(SpiBufferSize, Is4096WithoutTheFile) {
    kernel.spiBufferSize = "";
    expectLimit(4096);
}

TEST_F(SpiBufferSize, Is4096WhereTheFileCannotBeRead) {
    kernel.spiBufferSize = "65536\n";
    failNext("read", EIO);
    expectLimit(4096);
}

TEST_F(SpiBufferSize, Is4096WhereTheFileHoldsNoNumber) {
    kernel.spiBufferSize = "many\n";
    expectLimit(4096);
}

} // namespace
