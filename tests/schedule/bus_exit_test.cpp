// A program that exits while its I2C or SPI link is at work, in the rig.
#include <gtest/gtest.h>

#include "ExitRun.h"
#include "rig/RigControl.h"
#include "support/schedule/HostileScheduler.h"

namespace {

constexpr unsigned moreThanAreServed = 1000;

class BusExit : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Over, BusExit, testing::Values("i2c", "spi"),
                         [](const auto& link) { return std::string(link.param); });

TEST_P(BusExit, UnderTrafficIsClean) {
    const schedule::Undisturbed test; // the program is what is hunted
    const std::string link = GetParam();
    busrig::RigControl rig;
    rig.reset();
    rig.burst(moreThanAreServed);
    const std::string device = link == "i2c" ? busrig::firstBoard.i2cPath : busrig::firstBoard.spiPath;
    const ExitOutcome outcome = exitUnderTraffic(link, device, schedule::HostileScheduler::seed());
    EXPECT_EQ(outcome.how, "exit code 0") << outcome.output;
    EXPECT_EQ(outcome.output.substr(0, 6), "ended\n");
    EXPECT_EQ(outcome.report, "");
}

} // namespace
