// The faults and the control interface of the rig, seen by a program that makes raw system calls.

#include <algorithm>
#include <stdexcept>
#include <thread>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>

#include "RawCalls.h"

namespace {

using busrig::Bytes;
using raw::File;
using raw::pendingEvents;
using raw::readFromStart;
using raw::resultOf;
using raw::writeFile;

const std::string gpioClass = "/sys/class/gpio/";
const std::string gpio17 = gpioClass + "gpio17/";
constexpr int edgeEvent = POLLPRI | POLLERR;
const Bytes idle4(4, 0xFF);

class SysfsFault : public RigTest {};

class LineFault : public RigTest {
protected:
    void SetUp() override {
        RigTest::SetUp();
        calm(rig);
    }
    void arm() {
        ASSERT_EQ(writeFile(gpioClass + "export", "17"), 0);
        ASSERT_EQ(writeFile(gpio17 + "edge", "falling"), 0);
    }
};

class BusFault : public RigTest {
protected:
    void SetUp() override {
        RigTest::SetUp();
        rig.slaveManual();
        ASSERT_EQ(ioctl(i2c.descriptor, I2C_SLAVE, 0x42L), 0);
    }
    /// Two bytes out, four in: the number of messages done, or a negative errno.
    long exchange() {
        Bytes out{0x01, 0x02};
        in = Bytes(4);
        i2c_msg messages[2] = {{0x42, 0, 2, out.data()}, {0x42, I2C_M_RD, 4, in.data()}};
        i2c_rdwr_ioctl_data request{messages, 2};
        return resultOf(ioctl(i2c.descriptor, I2C_RDWR, &request));
    }
    Bytes readFour() {
        in = Bytes(4);
        const long count = resultOf(read(i2c.descriptor, in.data(), in.size()));
        in.resize(static_cast<size_t>(std::max(count, 0L)));
        return in;
    }

    const File i2c{"/dev/i2c-1", O_RDWR};
    const File spi{"/dev/spidev0.0", O_RDWR};
    Bytes in;
};

class ControlInterface : public RigTest {};

TEST_F(SysfsFault, SetUpIsLoggedInOrder) {
    writeFile(gpioClass + "export", "17");
    writeFile(gpio17 + "direction", "in");
    writeFile(gpio17 + "edge", "falling\n");
    writeFile(gpioClass + "export", "17");
    EXPECT_EQ(rig.sysfsLog(),
              (std::vector<std::string>{"export 17", "direction in", "edge falling", "export 17: EBUSY"}));
}

TEST_F(SysfsFault, ExportIsRefusedAtTheWriteOrAtTheOpen) {
    rig.fault("export-refused EBUSY");
    File busy(gpioClass + "export", O_WRONLY);
    EXPECT_EQ(busy.error, 0);
    EXPECT_EQ(resultOf(write(busy.descriptor, "17", 2)), -EBUSY);
    rig.fault("export-refused EACCES");
    EXPECT_EQ(File(gpioClass + "export", O_WRONLY).error, EACCES);
    rig.fault("export-refused EPERM write");
    EXPECT_EQ(writeFile(gpioClass + "export", "17"), EPERM);
    rig.fault("none");
    EXPECT_EQ(writeFile(gpioClass + "export", "17"), 0);
    EXPECT_EQ(rig.sysfsLog(),
              (std::vector<std::string>{"export 17: EBUSY", "open export: EACCES", "export 17: EPERM", "export 17"}));
    EXPECT_EQ(rig.count("sysfsRefused"), 3U);
}

TEST_F(SysfsFault, EachFileOfALineCanRefuse) {
    ASSERT_EQ(writeFile(gpioClass + "export", "17"), 0);
    for (const std::string file : {"direction", "edge", "value"}) {
        rig.fault(file + "-refused");
        EXPECT_EQ(File(gpio17 + file, O_RDWR).error, EACCES) << file;
        rig.fault(file + "-refused EIO write");
        EXPECT_EQ(File(gpio17 + file, O_RDWR).error, 0) << file;
        EXPECT_EQ(writeFile(gpio17 + file, "in"), EIO) << file;
    }
}

TEST_F(SysfsFault, FileRefusesSoManyTimes) {
    ASSERT_EQ(writeFile(gpioClass + "export", "17"), 0);
    rig.fault("edge-refused EACCES open 2");
    for (const int error : {EACCES, EACCES, 0, 0}) EXPECT_EQ(File(gpio17 + "edge", O_RDWR).error, error);
    EXPECT_EQ(rig.count("sysfsRefused"), 2U);
}

TEST_F(SysfsFault, ValueFileIsMissing) {
    rig.fault("no-value-file");
    ASSERT_EQ(writeFile(gpioClass + "export", "17"), 0);
    EXPECT_EQ(File(gpio17 + "value", O_RDONLY).error, ENOENT);
    EXPECT_EQ(writeFile(gpio17 + "direction", "in"), 0);
}

TEST_F(SysfsFault, ValueFileVanishes) {
    ASSERT_EQ(writeFile(gpioClass + "export", "17"), 0);
    const File value(gpio17 + "value", O_RDONLY);
    EXPECT_EQ(readFromStart(value.descriptor), "1\n");
    rig.fault("value-vanishes");
    EXPECT_EQ(raw::waitForEvent(value.descriptor, POLLPRI), edgeEvent);
    EXPECT_EQ(readFromStart(value.descriptor), "ENODEV");
}

TEST_F(SysfsFault, OpenValueFilesAreCounted) {
    waitUntilNobodyHas(rig, "valueFilesOpen"); // those of the test before
    ASSERT_EQ(writeFile(gpioClass + "export", "17"), 0);
    const uint64_t closedBefore = rig.count("valueFilesClosed");
    {
        const File value(gpio17 + "value", O_RDONLY);
        EXPECT_EQ(rig.count("valueFilesOpen"), 1U);
    }
    EXPECT_TRUE(
        rig.waitForCount("valueFilesClosed", closedBefore + 1)); // the kernel tells of it after close() returned
    EXPECT_EQ(rig.count("valueFilesOpen"), 0U);
}

TEST_F(LineFault, LineIsAlreadyLowUntilTheSlaveIsServed) {
    rig.fault("already-low");
    arm();
    const File value(gpio17 + "value", O_RDONLY);
    EXPECT_EQ(readFromStart(value.descriptor), "0\n");
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), 0);
    EXPECT_EQ(rig.count("edges"), 0U);
    const File spi("/dev/spidev0.0", O_RDWR);
    char byte = 0;
    EXPECT_EQ(read(spi.descriptor, &byte, 1), 1);
    EXPECT_EQ(readFromStart(value.descriptor), "1\n");
}

TEST_F(LineFault, EdgeIsBackHighBeforeAnybodyLooks) {
    arm();
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    rig.fault("edge-back-high 1");
    rig.press(1);
    EXPECT_EQ(raw::waitForEvent(value.descriptor, POLLPRI), edgeEvent);
    EXPECT_EQ(readFromStart(value.descriptor), "1\n");
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), 0);
}

TEST_F(LineFault, EdgeThatWasBackHighIsRepeated) {
    rig.reset(); // the usual host, which pulls again for what nobody serves
    arm();
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    rig.fault("edge-back-high 1");
    rig.press(1);
    std::string level = "1\n"; // what a late reader finds at the first edge is that of the second
    while (level == "1\n") {
        ASSERT_EQ(raw::waitForEvent(value.descriptor, POLLPRI), edgeEvent);
        level = readFromStart(value.descriptor);
    }
    EXPECT_EQ(level, "0\n");
}

TEST_F(LineFault, EdgesComeInABurst) {
    arm();
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    rig.fault("edge-burst 5");
    rig.press(1);
    EXPECT_EQ(raw::waitForEvent(value.descriptor, POLLPRI), edgeEvent);
    EXPECT_EQ(readFromStart(value.descriptor), "0\n");
    EXPECT_GE(rig.count("edges"), 5U);
}

TEST_F(LineFault, StuckLineMovesForNobody) {
    arm();
    rig.fault("stuck-line 1");
    rig.line(17, false);
    rig.press(1);
    EXPECT_TRUE(rig.level(17));
    EXPECT_EQ(rig.count("edges"), 0U);
    rig.fault("stuck-line 0");
    rig.line(17, true);
    EXPECT_FALSE(rig.level(17));
}

TEST_F(LineFault, HandAndSlaveBothPullLow) {
    arm();
    rig.line(17, false);
    rig.press(1);
    rig.line(17, true);
    EXPECT_FALSE(rig.level(17)); // the slave still pulls
    EXPECT_EQ(rig.count("edges"), 1U);
}

TEST_F(BusFault, NackEndsTheTransactionUnheard) {
    for (const auto& [name, number] : {std::pair<const char*, int>{"ENXIO", ENXIO},
                                       {"EREMOTEIO", EREMOTEIO},
                                       {"ETIMEDOUT", ETIMEDOUT},
                                       {"EIO", EIO}}) {
        rig.fault(std::string("bus-nack 1 ") + name);
        EXPECT_EQ(exchange(), -number) << name;
    }
    rig.fault("bus-nack 2");
    EXPECT_EQ(exchange(), -ENXIO);
    EXPECT_EQ(resultOf(write(spi.descriptor, "x", 1)), -ENXIO);
    EXPECT_EQ(exchange(), 2);
    EXPECT_EQ(rig.count("errors"), 6U);
    EXPECT_EQ(rig.count("writes"), 1U);
    EXPECT_EQ(rig.busLog().front(), "i2c ! ENXIO");
}

TEST_F(BusFault, ShortTransfersDoLess) {
    rig.fault("short 6");
    EXPECT_EQ(exchange(), 1);
    EXPECT_EQ(in, Bytes(4)); // untouched
    // The kernel counts whole messages on I2C: of one message, none.
    EXPECT_EQ(readFour().size(), 0U);
    EXPECT_EQ(resultOf(write(i2c.descriptor, "abcd", 4)), 0);
    char buffer[4];
    EXPECT_EQ(resultOf(read(spi.descriptor, buffer, 4)), 2);
    EXPECT_EQ(resultOf(write(spi.descriptor, "abcd", 4)), 2);
    Bytes out{1, 2};
    spi_ioc_transfer transfers[2] = {};
    transfers[0].tx_buf = reinterpret_cast<uintptr_t>(out.data());
    transfers[0].len = 2;
    transfers[1].rx_buf = reinterpret_cast<uintptr_t>(buffer);
    transfers[1].len = 4;
    // What spidev says of a message is its length, whatever became of it.
    EXPECT_EQ(resultOf(ioctl(spi.descriptor, SPI_IOC_MESSAGE(2), transfers)), 6);
    EXPECT_EQ(std::string(buffer, 4), "\xFF\xFF\xFF\xFF");
    EXPECT_EQ(exchange(), 2);
}

TEST_F(BusFault, LateStartGivesIdleBytesFirst) {
    rig.reply({0xFF, 0xFE, 0x08, 0x00});
    rig.fault("late 2");
    EXPECT_EQ(exchange(), 2);
    EXPECT_EQ(in, idle4);
    EXPECT_EQ(readFour(), idle4);
    EXPECT_EQ(readFour(), (Bytes{0xFF, 0xFE, 0x08, 0x00}));
}

TEST_F(BusFault, WrongStartTurnsTheFirstByteOver) {
    rig.reply({0xFF, 0xFE, 0x08, 0x00});
    rig.reply({0xFF, 0xFE, 0x08, 0x00});
    rig.fault("wrong-start");
    EXPECT_EQ(exchange(), 2);
    EXPECT_EQ(in, (Bytes{0x00, 0xFE, 0x08, 0x00}));
    EXPECT_EQ(readFour(), (Bytes{0xFF, 0xFE, 0x08, 0x00}));
}

TEST_F(BusFault, ScriptGivesRepliesAndErrorsInOrder) {
    rig.reply({1});
    rig.replyError("EREMOTEIO");
    rig.reply({2, 3, 4, 5, 6});
    EXPECT_EQ(exchange(), 2);
    EXPECT_EQ(in, (Bytes{1, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(exchange(), -EREMOTEIO);
    EXPECT_EQ(exchange(), 2);
    EXPECT_EQ(in, (Bytes{2, 3, 4, 5}));
    EXPECT_EQ(exchange(), 2);
    EXPECT_EQ(in, idle4);
    EXPECT_EQ(rig.count("scripted"), 0U);
}

TEST_F(BusFault, HeldTransactionsWaitForTheirRelease) {
    rig.hold();
    long result = 0;
    std::thread caller([&] { result = exchange(); });
    EXPECT_TRUE(rig.waitForCount("waiting", 1));
    EXPECT_EQ(rig.count("transactions"), 0U);
    rig.release();
    caller.join();
    EXPECT_EQ(result, 2);
    EXPECT_EQ(rig.count("waiting"), 0U);
}

TEST_F(ControlInterface, SaysWhatIsWrong) {
    EXPECT_THROW(rig.command("nonsense"), std::runtime_error);
    EXPECT_THROW(rig.command(""), std::runtime_error);
    EXPECT_THROW(rig.command("line 64 0"), std::runtime_error);
    EXPECT_THROW(rig.command("line 17 2"), std::runtime_error);
    EXPECT_THROW(rig.command("fault nonsense"), std::runtime_error);
    EXPECT_THROW(rig.command("fault bus-nack 1 ENONSENSE"), std::runtime_error);
    EXPECT_THROW(rig.command("reply xyz"), std::runtime_error);
    EXPECT_THROW(rig.command("host-options nackFirst"), std::runtime_error);
    EXPECT_THROW(rig.command("wait nonsense 1 1"), std::runtime_error);
    try {
        rig.command("line 17");
        ADD_FAILURE() << "accepted";
    } catch (const std::runtime_error& reason) {
        EXPECT_STREQ(reason.what(), "bus rig: line 17: error missing: level");
    }
}

TEST_F(ControlInterface, WaitEndsWhenTheTimeIsUp) {
    EXPECT_FALSE(rig.waitForCount("writes", 1, std::chrono::milliseconds(10)));
    EXPECT_TRUE(rig.waitForCount("writes", 0, std::chrono::milliseconds(0)));
}

TEST_F(ControlInterface, WaitEndsWithTheEvent) {
    std::thread other([] {
        const File spi("/dev/spidev0.0", O_RDWR);
        EXPECT_EQ(write(spi.descriptor, "abc", 3), 3);
    });
    EXPECT_TRUE(rig.waitForCounts({{"writes", 1}, {"bytesWritten", 3}}));
    other.join();
}

TEST_F(ControlInterface, ResetMakesEverythingNew) {
    ASSERT_EQ(writeFile(gpioClass + "export", "17"), 0);
    rig.fault("silent all");
    rig.fault("edge-refused");
    rig.line(17, false);
    rig.press(3);
    rig.reset();
    EXPECT_EQ(writeFile(gpio17 + "edge", "none"), ENOENT);
    EXPECT_TRUE(rig.level(17));
    EXPECT_TRUE(rig.sysfsLog().empty());
    EXPECT_EQ(writeFile(gpioClass + "export", "17"), 0);
    EXPECT_EQ(writeFile(gpio17 + "edge", "falling"), 0);
}

} // namespace
