#include "Sweep.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <set>

#include <gtest/gtest.h>

#include "support/LinkThreads.h"
#include "support/ProcessWatch.h"
#include "support/Watchdog.h"

namespace sweep {

namespace {

std::string testName() {
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    return std::string(test.test_suite_name()) + "." + test.name();
}

// The one case that the environment asks for; none: all.
bool isWanted(const Fault& fault) {
    const char* wanted = std::getenv("HOSTLINK_SWEEP_CASE");
    return wanted == nullptr || fault.text() == wanted;
}

Effect effectOn(const Scenario& scenario, std::size_t step) {
    const std::optional<Call> failed = CallLog::instance().failed();
    if (!failed || failed->step > step) return Effect::None;
    return scenario.effectOf(*failed, *CallLog::instance().plannedFailure());
}

void runStep(Scenario& scenario, const Scenario::Step& step, std::size_t number, const std::string& place) {
    testIsAt(place + ", step \"" + step.name + "\"");
    const bool worked = step.run();
    const Effect effect = effectOn(scenario, number);
    const std::optional<Call> failed = CallLog::instance().failed();
    const bool mustFail = effect == Effect::StepFails && failed->step == number;
    EXPECT_TRUE(effect == Effect::LosesEvents || !scenario.isRepeatable() || worked == !mustFail)
        << "step \"" << step.name << "\" told " << worked;
    if (worked) return;
    // Where a busy machine can make a step fail as well, it may do so more than once.
    const int most = scenario.isRepeatable() ? 1 : 5;
    bool works = false;
    for (int tries = 0; tries < most && !works; ++tries) {
        scenario.recover();
        works = step.run();
    }
    EXPECT_TRUE(works) << "step \"" << step.name << "\" tried again";
}

// Whether the scenario is repeatable.
bool runSteps(const ScenarioMaker& make, const std::string& place) {
    const std::unique_ptr<Scenario> scenario = make();
    const std::vector<Scenario::Step> steps = scenario->steps();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        runStep(*scenario, steps[i], i, place);
        CallLog::instance().nextStep();
    }
    return scenario->isRepeatable();
}

// What one run came to.
struct Ran {
    bool isRepeatable; // its scenario
    bool wasMade;      // the call that was to fail
};

Ran run(const ScenarioMaker& make, const std::optional<Fault>& fault, const std::string& place) {
    const std::set<int> descriptors = openDescriptors();
    const NewThreads threads;
    CallLog::instance().begin(fault);
    const bool isRepeatable = runSteps(make, place);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(threads.haveGone());
    const bool wasMade = CallLog::instance().failed().has_value();
    EXPECT_TRUE(!isRepeatable || wasMade == fault.has_value()) << "the call was never made";
    return {isRepeatable, wasMade};
}

// How often a run without faults makes the call. Where runs differ it is the least of some: a machine that stands still
// in one of them makes that begin again much that goes through at once in the others.
std::size_t countIn(const ScenarioMaker& make, const std::string& call) {
    std::size_t least = 0;
    int runs = 1;
    for (int i = 0; i < runs; ++i) {
        if (!run(make, std::nullopt, "the run without faults of " + testName()).isRepeatable) runs = 3;
        const std::size_t count = CallLog::instance().count(call);
        least = i == 0 ? count : std::min(least, count);
    }
    return least;
}

bool runCase(const ScenarioMaker& make, const Fault& fault) {
    const std::string repeat =
        "repeat with HOSTLINK_SWEEP_CASE=\"" + fault.text() + "\" and --gtest_filter=" + testName();
    SCOPED_TRACE(repeat);
    return run(make, fault, repeat).wasMade;
}

} // namespace

void sweepOver(const std::string& call, const ScenarioMaker& make, std::vector<Failure> failures) {
    if (failures.empty()) failures = failuresOf(call);
    const std::size_t count = countIn(make, call);
    ASSERT_GT(count, 0U) << "the scenario makes no such call";
    std::size_t cases = 0;
    std::size_t made = 0;
    for (std::size_t number = 1; number <= count; ++number) {
        for (const Failure& failure : failures) {
            const Fault fault{call, number, failure};
            if (!isWanted(fault)) continue;
            ++cases;
            if (runCase(make, fault)) ++made;
        }
    }
    EXPECT_GE(2 * made, cases) << "runs make too different calls";
}

void expectCallsOf(const ScenarioMaker& make, const std::vector<std::string>& kinds) {
    run(make, std::nullopt, testName());
    std::set<std::string> made;
    for (const Call& call : CallLog::instance().calls()) made.insert(call.name);
    EXPECT_EQ(made, std::set<std::string>(kinds.begin(), kinds.end()));
}

} // namespace sweep
