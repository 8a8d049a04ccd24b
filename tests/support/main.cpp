#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>
#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>

#include "Watchdog.h"

namespace {

std::unique_ptr<Watchdog> watchdog; // of the running test; the thread that runs the tests

// A test that ends a process does so by fork, which other threads should not see: its watchdog is the process's alarm.
bool forks(const testing::TestInfo& test) {
    return std::string(test.test_suite_name()).find("DeathTest") != std::string::npos;
}

constexpr unsigned patienceOfAlarm = 120; // seconds
std::array<char, 256> forkingTest{};      // as a line of text

void sayWhatHangs(int /*signal*/) {
    constexpr char hangs[] = "hangs: ";
    if (write(STDOUT_FILENO, hangs, sizeof hangs - 1) < 0 ||
        write(STDOUT_FILENO, forkingTest.data(), std::strlen(forkingTest.data())) < 0)
        _exit(EXIT_FAILURE + 1);
    _exit(EXIT_FAILURE);
}

void setAlarm(const std::string& test) {
    forkingTest = {};
    (test + "\n").copy(forkingTest.data(), forkingTest.size() - 1);
    std::signal(SIGALRM, sayWhatHangs);
    alarm(patienceOfAlarm);
}

class WatchEachTest : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& test) override {
        const std::string name = std::string(test.test_suite_name()) + "." + test.name();
        if (forks(test))
            setAlarm(name);
        else
            watchdog = std::make_unique<Watchdog>(name);
    }
    void OnTestEnd(const testing::TestInfo&) override {
        watchdog.reset();
        alarm(0);
    }
};

} // namespace

// One log4cplus for the whole program: it cannot be started a second time. Tests that look at the log attach their own
// appender; nothing goes to the console.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new WatchEachTest);
    const log4cplus::Initializer initializer;
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    return RUN_ALL_TESTS();
}
