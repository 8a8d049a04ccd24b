// What a link costs while the line is quiet.
#include <algorithm>

#include "BusRigTest.h"
#include "support/LinkThreads.h"
#include "support/ProcessWatch.h"

using std::chrono::milliseconds;

namespace {

class BusIdle : public BusRigTest {};

OVER_BOTH_WIRES(BusIdle);

TEST_P(BusIdle, QuietLineWakesNoThread) {
    const NewThreads started;
    start();
    rig.press(1);
    ASSERT_TRUE(delivered.waitForCount(2));
    const pid_t watcher = started.polling();
    const pid_t reader = started.waiting();
    ASSERT_NE(watcher, -1);
    ASSERT_NE(reader, -1);
    ASSERT_EQ(started.ids().size(), 2U);

    // The threads may be on their way to sleep when the first period begins; later ones have to be without a wake-up.
    const uint64_t transactions = rig.count("transactions");
    long wakeUps = -1;
    for (int period = 0; period < 4 && wakeUps != 0; ++period) {
        const long before = voluntarySwitches(watcher) + voluntarySwitches(reader);
        EXPECT_FALSE(rig.waitForCount("transactions", transactions + 1, milliseconds(1000)));
        wakeUps = voluntarySwitches(watcher) + voluntarySwitches(reader) - before;
    }
    EXPECT_EQ(wakeUps, 0);

    // Asleep, not dead.
    rig.press(1);
    EXPECT_TRUE(delivered.waitForCount(4));
}

} // namespace
