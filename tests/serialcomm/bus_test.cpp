// I2c and Spi without a bus: what they refuse, and what goes wrong before a transfer.
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <serialcomm/I2c.h>
#include <serialcomm/Spi.h>

#include "support/LogCapture.h"
#include "support/ProcessWatch.h"

using log4cplus::ERROR_LOG_LEVEL;

namespace {

constexpr int address = 0x42;
constexpr int hertz = 1000000;

class SerialBusTest : public testing::Test {
protected:
    // Opens in vain and says what was told about it.
    std::vector<LogLine> failToOpen(SerialBus& bus) {
        log.clear();
        const auto before = openDescriptors();
        EXPECT_FALSE(bus.open());
        EXPECT_EQ(openDescriptors(), before);
        return log.lines();
    }

    static std::vector<LogLine> error(const std::string& text) { return {{ERROR_LOG_LEVEL, text}}; }

    LogCapture log{"SerialComm"};
};

class RecordingBus : public SerialBus {
public:
    explicit RecordingBus(std::vector<std::string>* record) : calls(record) {}
    ~RecordingBus() override { calls->push_back("destructor"); }
    bool open() override { return note("open"); }
    ByteArray read(int size) override {
        note("read");
        return ByteArray(static_cast<std::size_t>(size));
    }
    bool write(const ByteArray&) override { return note("write"); }
    ByteArray writeRead(const ByteArray& data, int) override {
        note("writeRead");
        return data;
    }

private:
    bool note(const char* call) {
        calls->push_back(call);
        return true;
    }

    std::vector<std::string>* calls;
};

} // namespace

TEST_F(SerialBusTest, CanBeImplementedOutsideItsLibrary) {
    std::vector<std::string> calls;
    {
        const std::unique_ptr<SerialBus> bus = std::make_unique<RecordingBus>(&calls);
        EXPECT_TRUE(bus->open());
        EXPECT_EQ(bus->read(2), (ByteArray{0, 0}));
        EXPECT_TRUE(bus->write({1}));
        EXPECT_EQ(bus->writeRead({3}, 1), ByteArray{3});
    }
    EXPECT_EQ(calls, (std::vector<std::string>{"open", "read", "write", "writeRead", "destructor"}));
}

TEST_F(SerialBusTest, I2cTellsAMissingBus) {
    I2c bus("/dev/i2c-none", address);
    EXPECT_EQ(failToOpen(bus), error("I2c /dev/i2c-none address 0x42: cannot open: No such file or directory"));
}

// A number stands for a device file of the kernel, which comes with its driver.
TEST_F(SerialBusTest, TellsWhatMakesAMissingDeviceFile) {
    I2c i2c("/dev/i2c-4711", address);
    EXPECT_EQ(
        failToOpen(i2c),
        error("I2c /dev/i2c-4711 address 0x42: cannot open: No such file or directory; the module i2c-dev makes this "
              "file, for a bus that the device tree or an overlay enables"));
    log.clear();
    Spi spi("/dev/spidev47.11", hertz, 0);
    EXPECT_EQ(failToOpen(spi), error("Spi /dev/spidev47.11: cannot open: No such file or directory; the module spidev "
                                     "makes this file, for a device that the device tree or an overlay names"));
}

TEST_F(SerialBusTest, I2cTellsWhatIsNotABus) {
    I2c bus("/dev/null", address);
    EXPECT_EQ(failToOpen(bus),
              error("I2c /dev/null address 0x42: not an I2C bus; give the path of a bus device such as /dev/i2c-1"));
}

TEST_F(SerialBusTest, I2cRefusesAddressesThatNoDeviceMayHave) {
    const std::vector<std::pair<int, std::string>> refused{{0x00, "0x00"}, {0x02, "0x02"},   {0x78, "0x78"},
                                                           {0x7F, "0x7f"}, {0x142, "0x142"}, {-1, "0xffffffff"}};
    for (const auto& [number, text] : refused) {
        I2c bus("/dev/i2c-none", number);
        EXPECT_EQ(failToOpen(bus),
                  error("I2c /dev/i2c-none address " + text + ": not a device address; use 0x03 to 0x77"));
    }
    // The first and the last that are allowed get as far as the missing bus.
    for (const int number : {0x03, 0x77}) {
        I2c bus("/dev/i2c-none", number);
        failToOpen(bus);
        EXPECT_TRUE(log.contains("cannot open: No such file or directory")) << number;
    }
}

TEST_F(SerialBusTest, I2cMovesNothingWhileItIsNotOpen) {
    I2c bus("/dev/null", address);
    EXPECT_EQ(bus.read(8), ByteArray());
    EXPECT_FALSE(bus.write({1, 2}));
    EXPECT_FALSE(bus.write({}));
    EXPECT_EQ(bus.writeRead({1, 2}, 8), ByteArray());
    const std::string name = "I2c /dev/null address 0x42: ";
    EXPECT_EQ(log.texts(ERROR_LOG_LEVEL), (std::vector<std::string>{
                                              name + "cannot read: the device is not open",
                                              name + "cannot write: the device is not open",
                                              name + "cannot write: the device is not open",
                                              name + "cannot write and read: the device is not open",
                                          }));
}

TEST_F(SerialBusTest, SpiTellsAMissingDevice) {
    Spi bus("/dev/spidev-none", hertz, 0);
    EXPECT_EQ(failToOpen(bus), error("Spi /dev/spidev-none: cannot open: No such file or directory"));
}

TEST_F(SerialBusTest, SpiTellsWhatIsNotADevice) {
    Spi bus("/dev/null", hertz, 0);
    EXPECT_EQ(failToOpen(bus), error("Spi /dev/null: not an SPI device; give the path of one such as /dev/spidev0.0"));
}

TEST_F(SerialBusTest, SpiRefusesSpeedsAndModesThatDoNotExist) {
    for (const int speed : {0, -1000000}) {
        Spi bus("/dev/null", speed, 0);
        EXPECT_EQ(failToOpen(bus),
                  error("Spi /dev/null: speed " + std::to_string(speed) + " is not possible; give Hz"));
    }
    for (const uint8_t mode : {uint8_t{4}, uint8_t{255}}) {
        Spi bus("/dev/null", hertz, mode);
        EXPECT_EQ(failToOpen(bus), error("Spi /dev/null: mode " + std::to_string(mode) + " is not known; use 0 to 3"));
    }
}

TEST_F(SerialBusTest, SpiMovesNothingWhileItIsNotOpen) {
    Spi bus("/dev/null", hertz, 0);
    EXPECT_EQ(bus.read(8), ByteArray());
    EXPECT_FALSE(bus.write({1, 2}));
    EXPECT_FALSE(bus.write({}));
    EXPECT_EQ(bus.writeRead({1, 2}, 8), ByteArray());
    const std::string name = "Spi /dev/null: ";
    EXPECT_EQ(log.texts(ERROR_LOG_LEVEL), (std::vector<std::string>{
                                              name + "cannot read: the device is not open",
                                              name + "cannot write: the device is not open",
                                              name + "cannot write: the device is not open",
                                              name + "cannot write and read: the device is not open",
                                          }));
}

TEST_F(SerialBusTest, I2cRefusesNegativeSizes) {
    I2c bus("/dev/null", address);
    EXPECT_EQ(bus.read(-1), ByteArray());
    EXPECT_EQ(bus.writeRead({1}, -8), ByteArray());
    EXPECT_EQ(bus.read(std::numeric_limits<int>::min()), ByteArray());
    const std::string name = "I2c /dev/null address 0x42: ";
    EXPECT_EQ(log.texts(ERROR_LOG_LEVEL), (std::vector<std::string>{
                                              name + "cannot read -1 bytes: the size is negative",
                                              name + "cannot read -8 bytes: the size is negative",
                                              name + "cannot read -2147483648 bytes: the size is negative",
                                          }));
}

TEST_F(SerialBusTest, I2cRefusesWhatTheDriverWouldNotTakeAtOnce) {
    I2c bus("/dev/null", address);
    EXPECT_EQ(bus.read(8193), ByteArray());
    EXPECT_FALSE(bus.write(ByteArray(8193)));
    EXPECT_EQ(bus.writeRead(ByteArray(8193), 1), ByteArray());
    EXPECT_EQ(bus.writeRead({1}, 8193), ByteArray());
    // As many as the driver takes get as far as the next check.
    EXPECT_FALSE(bus.write(ByteArray(8192)));
    const std::string name = "I2c /dev/null address 0x42: ";
    EXPECT_EQ(log.texts(ERROR_LOG_LEVEL), (std::vector<std::string>{
                                              name + "cannot read 8193 bytes: the driver takes 8192 at once",
                                              name + "cannot write 8193 bytes: the driver takes 8192 at once",
                                              name + "cannot write 8193 bytes: the driver takes 8192 at once",
                                              name + "cannot read 8193 bytes: the driver takes 8192 at once",
                                              name + "cannot write: the device is not open",
                                          }));
}

TEST_F(SerialBusTest, SpiRefusesNegativeSizes) {
    Spi bus("/dev/null", hertz, 0);
    EXPECT_EQ(bus.read(-1), ByteArray());
    EXPECT_EQ(bus.writeRead({1}, -8), ByteArray());
    EXPECT_EQ(bus.read(std::numeric_limits<int>::min()), ByteArray());
    const std::string name = "Spi /dev/null: ";
    EXPECT_EQ(log.texts(ERROR_LOG_LEVEL), (std::vector<std::string>{
                                              name + "cannot read -1 bytes: the size is negative",
                                              name + "cannot read -8 bytes: the size is negative",
                                              name + "cannot read -2147483648 bytes: the size is negative",
                                          }));
}

TEST_F(SerialBusTest, SpiRefusesWhatTheDriverWouldNotTakeAtOnce) {
    Spi bus("/dev/null", hertz, 0);
    EXPECT_EQ(bus.read(4097), ByteArray());
    EXPECT_FALSE(bus.write(ByteArray(4097)));
    EXPECT_EQ(bus.writeRead(ByteArray(4097), 1), ByteArray());
    EXPECT_EQ(bus.writeRead({1}, 4097), ByteArray());
    // As many as the driver takes get as far as the next check.
    EXPECT_FALSE(bus.write(ByteArray(4096)));
    const std::string name = "Spi /dev/null: ";
    EXPECT_EQ(log.texts(ERROR_LOG_LEVEL), (std::vector<std::string>{
                                              name + "cannot read 4097 bytes: the driver takes 4096 at once",
                                              name + "cannot write 4097 bytes: the driver takes 4096 at once",
                                              name + "cannot write 4097 bytes: the driver takes 4096 at once",
                                              name + "cannot read 4097 bytes: the driver takes 4096 at once",
                                              name + "cannot write: the device is not open",
                                          }));
}
