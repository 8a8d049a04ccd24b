#include <atomic>
#include <cstdlib>
#include <fstream>
#include <future>
#include <thread>

#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <hostlink/physicalLayers/ThreadState.h>

#include "support/ProcessWatch.h"

namespace {

char stateOf(pid_t thread) {
    std::string line;
    std::getline(std::ifstream("/proc/self/task/" + std::to_string(thread) + "/stat"), line);
    const size_t name = line.rfind(')');
    return name == std::string::npos || name + 2 >= line.size() ? '?' : line[name + 2];
}

TEST(ThreadState, ThreadThatRunsIsNotAsleep) {
    std::promise<pid_t> id;
    std::atomic<bool> stop{false};
    std::thread runner([&] {
        id.set_value(currentThreadId());
        while (!stop) {
        }
    });
    const pid_t thread = id.get_future().get();
    for (int i = 0; i < 100; ++i) EXPECT_FALSE(isAsleep(thread));
    stop = true;
    runner.join();
}

TEST(ThreadState, ThreadThatWaitsIsAsleep) {
    std::promise<pid_t> id;
    std::promise<void> release;
    std::thread sleeper([&] {
        id.set_value(currentThreadId());
        release.get_future().wait();
    });
    const pid_t thread = id.get_future().get();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!sleepsOnFutex(thread) && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    EXPECT_TRUE(isAsleep(thread));
    release.set_value();
    sleeper.join();
}

TEST(ThreadState, ThreadThatIsNotThereIsNotAsleep) {
    EXPECT_FALSE(isAsleep(-1));
    EXPECT_FALSE(isAsleep(0));
}

// The first thread of a process is listed for as long as others run, even when it has ended: neither running nor
// asleep.
TEST(ThreadStateDeathTest, ThreadThatHasEndedIsNotAsleep) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // the other process starts a thread
    const auto endFirstThread = [] {
        std::thread([first = currentThreadId()] {
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
            while (stateOf(first) != 'Z' && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
            std::_Exit(stateOf(first) == 'Z' && !isAsleep(first) ? EXIT_SUCCESS : EXIT_FAILURE);
        }).detach();
        syscall(SYS_exit, 0);
    };
    EXPECT_EXIT(endFirstThread(), testing::ExitedWithCode(EXIT_SUCCESS), "");
}

} // namespace
