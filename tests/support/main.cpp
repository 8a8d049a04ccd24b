#include <gtest/gtest.h>
#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>

// One log4cplus for the whole program: it cannot be started a second time. Tests that look at the log attach their own
// appender; nothing goes to the console.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const log4cplus::Initializer initializer;
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    return RUN_ALL_TESTS();
}
