// The function core as a firmware compiles it: as one file, with a stop of its own in place of the C library's.
#include <string>

#include <gtest/gtest.h>

namespace {

struct Stopped {
    std::string condition;
};

[[noreturn]] void stop(const char* condition) {
    throw Stopped{condition};
}

} // namespace

#define HOSTLINK_ASSERT(condition) ((condition) ? (void)0 : stop(#condition))
// NOLINTNEXTLINE(bugprone-suspicious-include): as a firmware adds it to its build
#include <hostlink/core/HostLinkLib.cpp>

TEST(OwnStop, TakesThePlaceOfTheAssertion) {
    std::string condition = "nothing stopped";
    try {
        hostLinkMessageUint16AddItem(nullptr, 1);
    } catch (const Stopped& stopped) {
        condition = stopped.condition;
    }
    EXPECT_EQ(condition, "self");
}

TEST(OwnStop, LetsAListGrow) {
    uint8_t storage[5] = {};
    HostLinkLL buffer{storage, sizeof storage, 0};
    ASSERT_EQ(hostLinkMessageUint16Init(&buffer, MSG_GetState), 0u);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer, 0x1234), 0u);
    EXPECT_EQ(hostLinkMessageUint16Get(&buffer, 0), 0x1234);
    EXPECT_EQ(hostLinkMessageUint16AddItem(&buffer, 1), uint32_t{HOSTLINK_NO_ROOM});
}
