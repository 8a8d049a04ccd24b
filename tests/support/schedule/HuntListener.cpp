// Puts each test of a hunt under a scheduler of its own and says its seed before.
#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "HostileScheduler.h"
#include "Hunt.h"
#include "support/ThreadDump.h"
#include "support/Watchdog.h"

namespace schedule {

namespace {

std::string repetition(const testing::TestInfo& test, std::uint64_t seed) {
    return std::string(seedVariable) + "=" + std::to_string(seed) + " and --gtest_filter=" + test.test_suite_name() +
           "." + test.name();
}

class HuntListener : public testing::EmptyTestEventListener {
public:
    explicit HuntListener(std::uint64_t firstSeed) : first(firstSeed) {}

    void OnTestIterationStart(const testing::UnitTest& /*program*/, int iteration) override {
        seed = first + static_cast<std::uint64_t>(iteration);
    }

    // Said before the test runs: a crash or a sanitizer's report leaves no later moment.
    void OnTestStart(const testing::TestInfo& test) override {
        std::printf("repeat with %s\n", repetition(test, seed).c_str());
        std::fflush(stdout);
        testIsAt(repetition(test, seed));
        scheduler = std::make_unique<HostileScheduler>(seed);
    }
    void OnTestEnd(const testing::TestInfo& /*test*/) override { scheduler.reset(); }

private:
    const std::uint64_t first;
    std::uint64_t seed = first; // the first iteration has started before this listens
    std::unique_ptr<HostileScheduler> scheduler;
};

// Brings the listener when it is set up, behind the one that starts the watchdog: whose thread is then older than any
// scheduler, and left alone.
class Hunt : public testing::Environment {
public:
    explicit Hunt(std::uint64_t firstSeed) : seed(firstSeed) {}

    void SetUp() override {
        if (listens) return;
        listens = true;
        dumpThreadsOnAbort();
        testing::UnitTest::GetInstance()->listeners().Append(new HuntListener(seed)); // GoogleTest's now
    }

private:
    const std::uint64_t seed;
    bool listens = false;
};

const bool hunting = [] {
    const auto seed = firstSeed();
    if (seed) testing::AddGlobalTestEnvironment(new Hunt(*seed)); // GoogleTest's now
    return seed.has_value();
}();

} // namespace

} // namespace schedule
