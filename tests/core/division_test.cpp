// Division for a processor that has none, against this machine's.
#include <gtest/gtest.h>

#include <hostlink/core/Division.h>

#include "support/Properties.h"

TEST(Division, StepByStepIsTheMachines) {
    holds("any number by any divisor", [] {
        const auto number = *rc::gen::arbitrary<uint32_t>();
        const auto divisor = static_cast<uint16_t>(*rc::gen::inRange(1, 65536));
        RC_ASSERT(dividedUpStepByStep(number, divisor) == (uint64_t{number} + divisor - 1) / divisor);
    });
}

TEST(Division, RoundsUp) {
    for (auto* divide : {&dividedUp, &dividedUpStepByStep}) {
        EXPECT_EQ(divide(0, 54), 0U);
        EXPECT_EQ(divide(54, 54), 1U);
        EXPECT_EQ(divide(55, 54), 2U);
        EXPECT_EQ(divide(0xFFFFFFFF, 1), 0xFFFFFFFFU);
        EXPECT_EQ(divide(0xFFFFFFFF, 65535), 65537U);
        EXPECT_EQ(divide(0xFFFFFFFF, 2), 0x80000000U);
    }
}
