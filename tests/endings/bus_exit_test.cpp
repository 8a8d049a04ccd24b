// Programs that end while a bus link is busy, in the rig. Fewer than over the serial line: the rig lets a program that
// ends inside a transaction wait for it.
#include <gtest/gtest.h>

#include "Exits.h"
#include "rig/RigControl.h"

namespace {

std::vector<ExitCase> everyWay() {
    std::vector<ExitCase> cases = everyWayOf("i2c");
    for (const ExitCase& exitCase : everyWayOf("spi")) cases.push_back(exitCase);
    return cases;
}

class BusExit : public testing::TestWithParam<ExitCase> {
protected:
    void SetUp() override { busrig::RigControl().reset(); }
};

INSTANTIATE_TEST_SUITE_P(By, BusExit, testing::ValuesIn(everyWay()), [](const auto& way) { return nameOf(way.param); });

TEST_P(BusExit, WithABusyLinkEndsWell) {
    expectGoodExits(GetParam(), 30);
}

} // namespace
