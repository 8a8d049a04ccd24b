#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>

#include "Watchdog.h"

namespace {

std::unique_ptr<Watchdog> watchdog; // of the running test; the thread that runs the tests

// A test that ends a process does so by fork, which other threads should not see.
bool forks(const testing::TestInfo& test) {
    return std::string(test.test_suite_name()).find("DeathTest") != std::string::npos;
}

class WatchEachTest : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& test) override {
        if (!forks(test))
            watchdog = std::make_unique<Watchdog>(std::string(test.test_suite_name()) + "." + test.name());
    }
    void OnTestEnd(const testing::TestInfo&) override { watchdog.reset(); }
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
