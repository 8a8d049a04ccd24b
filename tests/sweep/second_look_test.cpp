// A second look at the level, through sysfs.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <string>

#include <fcntl.h>

#include <gmock/gmock.h>

#include <hostlink/physicalLayers/I2cPhysicalLayer.h>

#include "FaultTest.h"
#include "PlayedBoard.h"

using namespace sweep;

namespace {

constexpr auto exchangeLeft = "Leave [HostLinkPhysicalLayer] void SyncSerialLayer::readFromSlave(int): readSize: 64";

// The value file that the watcher holds open is one, the one that is opened for a look another.
class LookedAtBoard : public PlayedBoard {
public:
    Answer open(const char* path, int flags) override {
        const bool isValue = std::string(path) == "/sys/class/gpio/gpio17/value";
        if (!isValue || opened++ == 0) return PlayedBoard::open(path, flags);
        if (lookError != 0) return -lookError;
        return ::open((lineFiles() / "value").c_str(), flags);
    }

    std::atomic<int> opened{0};
    int lookError = 0;
};

class SysfsSecondLook : public FaultTest<LookedAtBoard> {
protected:
    SysfsSecondLook() : FaultTest("HostLinkPhysicalLayer") {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, PlayedBoard::i2cPath);
        properties.setInt(GpioNumber, PlayedBoard::gpio);
        properties.setInt(I2cSlaveAddress, 0x42);
        properties.setInt(GpioSecondLook, 50);
        underTest([&] { link = std::make_unique<I2cPhysicalLayer>(properties); });
    }
    ~SysfsSecondLook() override {
        underTest([this] { link.reset(); });
    }

    /// The host has nothing for the first exchange, and the line is low all the time.
    std::size_t exchangesForOneInterrupt(std::size_t awaited) {
        EXPECT_TRUE(underTest([this] { return link->init(); }));
        EXPECT_TRUE(kernel.waitUntilWatched());
        kernel.signalLine();
        EXPECT_TRUE(log.waitFor(exchangeLeft, awaited));
        underTest([this] { link->shutdown(); });
        return log.count(exchangeLeft);
    }

    std::unique_ptr<SyncSerialLayer> link;
};

TEST_F(SysfsSecondLook, LeadsToOneExchangeMoreWhileTheLineIsLow) {
    EXPECT_EQ(exchangesForOneInterrupt(2), 2U);
    EXPECT_EQ(kernel.opened, 2) << "through a descriptor of its own: the watcher's would lose its event";
}

TEST_F(SysfsSecondLook, LeavesALineAloneThatCannotBeLookedAt) {
    kernel.lookError = ENOENT;
    EXPECT_EQ(exchangesForOneInterrupt(1), 1U);
}

} // namespace
