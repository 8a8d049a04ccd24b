#include <chrono>
#include <future>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include <serialcomm/LogGate.h>

#include "support/MustEnd.h"

using serialcomm::LogGate;

namespace {

constexpr std::chrono::hours never{1};

TEST(LogGate, LetsLinesThroughUntilItIsClosed) {
    LogGate gate;
    EXPECT_TRUE(static_cast<bool>(LogGate::Pass(gate)));
    gate.closeAndWait(never);
    EXPECT_FALSE(static_cast<bool>(LogGate::Pass(gate)));
}

TEST(LogGate, ClosingWaitsForALineOfAnotherThread) {
    LogGate gate;
    std::optional<LogGate::Pass> line(std::in_place, gate);
    std::future<void> closing = std::async(std::launch::async, [&] { gate.closeAndWait(never); });
    mustBecomeTrue([&] { return !LogGate::Pass(gate); }, "the gate refuses a line");
    EXPECT_EQ(closing.wait_for(std::chrono::milliseconds(5)), std::future_status::timeout);
    line.reset();
    mustEnd(closing, "closing");
}

TEST(LogGate, ClosingFromWithinALineDoesNotWaitForIt) {
    LogGate gate;
    std::future<void> exiting = std::async(std::launch::async, [&] {
        const LogGate::Pass outer(gate);
        const LogGate::Pass inner(gate);
        gate.closeAndWait(never);
    });
    mustEnd(exiting, "closing from within a line");
}

TEST(LogGate, ClosingGivesUpOnALineThatIsStuck) {
    LogGate gate;
    const LogGate::Pass stuck(gate);
    std::future<void> closing =
        std::async(std::launch::async, [&] { gate.closeAndWait(std::chrono::milliseconds(1)); });
    mustEnd(closing, "closing beside a line that is stuck");
}

// A line that has ended counts neither for its thread nor for the gate.
TEST(LogGate, ClosingWaitsForALineOfAnotherThreadWhateverItsOwnThreadHasWritten) {
    LogGate gate;
    std::optional<LogGate::Pass> line(std::in_place, gate);
    std::future<void> closing = std::async(std::launch::async, [&] {
        { const LogGate::Pass before(gate); }
        gate.closeAndWait(never);
    });
    mustBecomeTrue([&] { return !LogGate::Pass(gate); }, "the gate refuses a line");
    EXPECT_EQ(closing.wait_for(std::chrono::milliseconds(5)), std::future_status::timeout);
    line.reset();
    mustEnd(closing, "closing");
}

TEST(LogGate, LineThatWasRefusedIsNotWaitedFor) {
    LogGate gate;
    gate.closeAndWait(never);
    { const LogGate::Pass refused(gate); }
    std::future<void> again = std::async(std::launch::async, [&] { gate.closeAndWait(never); });
    mustEnd(again, "closing again");
}

} // namespace
