// The hostile scheduler at work on threads and on a link.
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "library.h"
#include "support/Packets.h"
#include "support/ProcessWatch.h"
#include "support/Pty.h"
#include "support/ThreadDump.h"
#include "support/schedule/HostileScheduler.h"

namespace schedule {

namespace {

using std::chrono::steady_clock;

constexpr Point beforeNotify{Call::Notify, false};
constexpr Point beforeLife{Call::Life, false};

void converseOverUart() {
    Pty pty;
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, pty.slavePath());
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, 20000);
    const std::unique_ptr<HostLinkPhysicalLayer> link = std::make_unique<UartPhysicalLayer>(properties);
    ASSERT_TRUE(link->init());
    const ByteArray packet = messageEnd(1, 0, {1});
    // An answer that is there already would not be waited for.
    std::thread host([&, writer = currentThread()] {
        pty.read(packet.size());
        EXPECT_TRUE(waitUntilOnFutex(writer));
        pty.write(responseFrame(0xA3, 1));
    });
    EXPECT_EQ(link->writeData(packet), Accepted);
    host.join();
}

TEST(HostileScheduler, MeetsEachCallOfALinkBeforeAndAfter) {
    const HostileScheduler scheduler(1);
    converseOverUart();
    for (std::size_t call = 0; call < callCount; ++call)
        for (const bool after : {false, true})
            EXPECT_GT(HostileScheduler::timesAt({static_cast<Call>(call), after}), 0U) << call << " " << after;
}

TEST(HostileScheduler, LeavesEverybodyAloneWhenItIsGone) {
    { const HostileScheduler scheduler(1); }
    notifyInALibrary(10);
    EXPECT_EQ(HostileScheduler::timesAt(beforeNotify), 0U);
}

TEST(HostileScheduler, LeavesTheProgramsOwnCallsAlone) {
    const HostileScheduler scheduler(1);
    std::mutex mutex;
    { const std::lock_guard lock(mutex); }
    EXPECT_EQ(HostileScheduler::timesAt({Call::Lock, false}), 0U);
}

TEST(HostileScheduler, LeavesThreadsFromBeforeAlone) {
    std::mutex mutex;
    std::condition_variable ready;
    bool may = false;
    std::thread earlier([&] {
        {
            std::unique_lock lock(mutex);
            ready.wait(lock, [&] { return may; });
        }
        notifyInALibrary(10);
    });
    const HostileScheduler scheduler(1);
    {
        const std::lock_guard lock(mutex);
        may = true;
    }
    ready.notify_all();
    earlier.join();
    EXPECT_EQ(HostileScheduler::timesAt(beforeNotify), 0U);
}

TEST(HostileScheduler, LeavesTheUndisturbedAloneAndTheirThreads) {
    const HostileScheduler scheduler(1);
    {
        const Undisturbed farSide;
        notifyInALibrary(10);
        std::thread([] { notifyInALibrary(10); }).join();
    }
    EXPECT_EQ(HostileScheduler::timesAt(beforeNotify), 0U);
    EXPECT_EQ(HostileScheduler::timesAt(beforeLife), 0U);
    notifyInALibrary(10);
    EXPECT_EQ(HostileScheduler::timesAt(beforeNotify), 10U);
}

TEST(HostileScheduler, HoldsThreadsOfThreads) {
    const HostileScheduler scheduler(1);
    std::thread([] { std::thread([] { notifyInALibrary(10); }).join(); }).join();
    EXPECT_EQ(HostileScheduler::timesAt(beforeNotify), 10U);
    EXPECT_EQ(HostileScheduler::timesAt(beforeLife), 2U);
}

// Some of these threads are of low priority, so the allowance would be used up many times over. A machine that stands
// still during a pause may use it up at once.
TEST(HostileScheduler, KeepsWithinItsAllowance) {
    std::uint64_t delayed = 0;
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        const auto begin = steady_clock::now();
        const HostileScheduler scheduler(seed);
        notifyInALibrary(3000);
        const auto took = std::chrono::duration_cast<std::chrono::microseconds>(steady_clock::now() - begin);
        EXPECT_LE(HostileScheduler::delayed(), 100000U + static_cast<std::uint64_t>(took.count()) / 8);
        EXPECT_GE(static_cast<std::uint64_t>(took.count()), HostileScheduler::delayed());
        delayed += HostileScheduler::delayed();
    }
    EXPECT_GT(delayed, 0U);
}

TEST(HostileScheduler, KeepsErrno) {
    std::uint64_t delayed = 0;
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        const HostileScheduler scheduler(seed);
        errno = ENOTDIR;
        notifyInALibrary(500);
        EXPECT_EQ(errno, ENOTDIR);
        delayed += HostileScheduler::delayed();
    }
    EXPECT_GT(delayed, 0U);
}

// --- How a hunt tells ---

// Programs that start over do so by execv(3), which works everywhere.
void huntFrom(const char* seed, const char* times, const char* filter) {
    char path[4096] = {};
    if (readlink("/proc/self/exe", path, sizeof path - 1) < 0) std::abort();
    setenv("HOSTLINK_SCHEDULE_SEED", seed, 1);
    setenv("GTEST_REPEAT", times, 1);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    char* const arguments[] = {path, const_cast<char*>(filter), nullptr};
    execv(path, arguments);
    std::abort();
}

class HuntDeathTest : public testing::Test {
protected:
    void SetUp() override { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(HuntDeathTest, SaysHowToRepeatEachTestAndTakesTheNextSeedForTheNextTime) {
    const auto line = [](const std::string& seed) {
        return "repeat with HOSTLINK_SCHEDULE_SEED=" + seed + " and --gtest_filter=Schedule.RepeatsFromItsSeed\n";
    };
    EXPECT_EXIT(huntFrom("7", "2", "--gtest_filter=Schedule.RepeatsFromItsSeed"), testing::ExitedWithCode(0),
                testing::AllOf(testing::HasSubstr(line("7")), testing::HasSubstr(line("8")),
                               testing::Not(testing::HasSubstr(line("9")))));
}

TEST_F(HuntDeathTest, SaysWhereEachThreadIsWhenItGivesUp) {
    EXPECT_EXIT(
        {
            std::promise<void> begun; // ThreadSanitizer loses what is sent to a thread that it has yet to set up
            std::thread([&begun] {
                begun.set_value();
                for (;;) pause();
            }).detach();
            begun.get_future().wait();
            dumpThreadsOnAbort();
            std::abort();
        },
        testing::KilledBySignal(SIGABRT), "thread [0-9]+:\n(.*\n)+thread [0-9]+:\n");
}

} // namespace

} // namespace schedule
