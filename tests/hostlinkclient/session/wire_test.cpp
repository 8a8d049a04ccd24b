// What a wire tells its link: the link's log says what it was given.
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/loglevel.h>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlinkclient/Wire.h>

#include "hostlinkclient/session/WireData.h"
#include "support/LogCapture.h"

using namespace std::chrono_literals;
using hostlink::I2c;
using hostlink::LineWatch;
using hostlink::Spi;
using hostlink::Wire;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class ClientWire : public testing::Test {
protected:
    std::unique_ptr<HostLinkPhysicalLayer> linkOf(const Wire& wire) { return wire.inside().make(); }
    /// The last line at WARN or above of a link that does not start.
    std::string refusal(const Wire& wire) {
        const auto link = linkOf(wire);
        EXPECT_FALSE(link->init());
        return log.texts(log4cplus::WARN_LOG_LEVEL).back();
    }
    static I2c onI2c(const LineWatch& watch) {
        I2c wire{"/dev/null", 0x42, 3};
        wire.watch = watch;
        return wire;
    }
    static Spi onSpi(const LineWatch& watch) {
        Spi wire{"/dev/null", 1000000, 3};
        wire.watch = watch;
        return wire;
    }

    const LogCapture log{"HostLinkPhysicalLayer"};
};

TEST_F(ClientWire, LineIsANumberUnlessAskedFor) {
    linkOf(I2c{"/dev/null", 0x42, 17});
    linkOf(Spi{"/dev/null", 1000000, 27});
    EXPECT_THAT(log.texts(),
                ElementsAre("Max packet size: 64", "Serial device path: /dev/null", "gpio: 17", "slave address: 66",
                            "Max packet size: 64", "Serial device path: /dev/null", "gpio: 27"));
}

TEST_F(ClientWire, ChipAndLineReachTheLink) {
    LineWatch watch;
    watch.chip = "/dev/null";
    linkOf(onI2c(watch));
    EXPECT_EQ(log.count("gpio: 3"), 1U);
    EXPECT_EQ(log.count("gpio chip: /dev/null"), 1U);
    watch.line = "HOST_IRQ";
    linkOf(onI2c(watch));
    linkOf(onSpi(watch));
    EXPECT_EQ(log.count("gpio: 3"), 1U) << "a line with a name needs no number";
    EXPECT_EQ(log.count("gpio line: HOST_IRQ"), 2U);
    EXPECT_THAT(refusal(onSpi(watch)), HasSubstr("Gpio chip /dev/null: not a GPIO chip"));
}

// Its number would be a line that nobody meant.
TEST_F(ClientWire, NameOfALineWithoutItsChipIsRefused) {
    LineWatch watch;
    watch.line = "HOST_IRQ";
    linkOf(onI2c(watch));
    EXPECT_EQ(log.texts(log4cplus::ERROR_LOG_LEVEL),
              (std::vector<std::string>{"Some of Serial device attributes not defined",
                                        "Some of I2C attributes not defined"}));
}

TEST_F(ClientWire, BiasDebounceAndSecondLookReachTheLink) {
    LineWatch watch;
    watch.chip = "/dev/null";
    watch.bias = "sideways";
    EXPECT_THAT(refusal(onI2c(watch)), HasSubstr("Gpio bias sideways is not known"));
    EXPECT_THAT(refusal(onSpi(watch)), HasSubstr("Gpio bias sideways is not known"));
    watch.bias = "";
    watch.debounce = -7us;
    EXPECT_THAT(refusal(onI2c(watch)), HasSubstr("Gpio debounce -7 is not possible"));
    watch.debounce = 0us;
    EXPECT_EQ(log.count("GpioSecondLook"), 0U);
    watch.secondLook = 101ms;
    linkOf(onI2c(watch));
    linkOf(onSpi(watch));
    EXPECT_EQ(log.count("GpioSecondLook 101 is not possible"), 2U);
}

} // namespace
