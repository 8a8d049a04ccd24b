// Programs that end while a UART link is busy.
#include <gtest/gtest.h>

#include "Exits.h"

namespace {

class UartExit : public testing::TestWithParam<ExitCase> {};

INSTANTIATE_TEST_SUITE_P(By, UartExit, testing::ValuesIn(everyWayOf("uart")),
                         [](const auto& way) { return nameOf(way.param); });

TEST_P(UartExit, WithABusyLinkEndsWell) {
    expectGoodExits(GetParam(), 140);
}

} // namespace
