// Looking on at what a port carries.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <serialcomm/SerialTap.h>
#include <serialcomm/Uart.h>

#include "support/Bytes.h"
#include "support/Pty.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> seen;

void look(const SerialCarried& carried) {
    const char* const names[] = {"written", "read", "failed"};
    seen.push_back(std::string(carried.wire) + " " + carried.settings + " " + names[carried.what] + " " +
                   hex(carried.bytes, carried.size));
}

class SerialTapTest : public testing::Test {
protected:
    SerialTapTest() { seen.clear(); }
    ~SerialTapTest() override { serialTap(nullptr); }

    Pty line;
    Uart port{line.slavePath(), 9600, 0, "none", true};
};

} // namespace

TEST_F(SerialTapTest, IsToldOfWritesAndReadsUntilItIsTakenAway) {
    serialTap(look);
    ASSERT_TRUE(port.init());
    ASSERT_TRUE(port.write(bytes("FF FE")));
    ASSERT_TRUE(line.write(bytes("A3")));
    bool error = false;
    ASSERT_EQ(hex(port.read(64, &error)), "A3");
    serialTap(nullptr);
    ASSERT_TRUE(port.write(bytes("01")));
    EXPECT_THAT(seen, ElementsAre("uart 9600 baud written FF FE", "uart 9600 baud read A3"));
}

TEST_F(SerialTapTest, IsNotToldOfCallsThatTheLibraryRefuses) {
    serialTap(look);
    bool error = false;
    EXPECT_FALSE(port.write(bytes("01")));
    EXPECT_THAT(port.read(1, &error), IsEmpty());
    ASSERT_TRUE(port.init());
    EXPECT_TRUE(port.write({}));
    EXPECT_THAT(seen, IsEmpty());
}

TEST_F(SerialTapTest, IsToldThatWhatWasWrittenDidNotGoOut) {
    ASSERT_TRUE(port.init());
    line.close();
    serialTap(look);
    EXPECT_FALSE(port.write(bytes("01")));
    EXPECT_THAT(seen, ElementsAre("uart 9600 baud written 01", "uart 9600 baud failed "));
}
