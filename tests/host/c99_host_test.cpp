// The host's engine used from C99; the calls stand in c99_host_test.c.
#include "c99_host_test.h"

#include <gtest/gtest.h>

TEST(HostFromC99, HoldsAConversationOnASerialLine) {
    EXPECT_STREQ(c99HoldsAConversationOnASerialLine(), nullptr);
}

TEST(HostFromC99, HoldsAConversationOnABus) {
    EXPECT_STREQ(c99HoldsAConversationOnABus(), nullptr);
}
