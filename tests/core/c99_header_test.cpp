// The function core used from C99; the calls stand in c99_header_test.c.
#include "c99_header_test.h"

#include <gtest/gtest.h>

TEST(FunctionCoreFromC99, WritesAResponseFrame) {
    EXPECT_STREQ(c99WritesAResponseFrame(), nullptr);
}

TEST(FunctionCoreFromC99, BuildsAndReadsAMessage) {
    EXPECT_STREQ(c99BuildsAndReadsAMessage(), nullptr);
}

TEST(FunctionCoreFromC99, GathersAFrame) {
    EXPECT_STREQ(c99GathersAFrame(), nullptr);
}

TEST(FunctionCoreFromC99, ComputesAChecksum) {
    EXPECT_STREQ(c99ComputesAChecksum(), nullptr);
}
