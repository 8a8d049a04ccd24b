#include "Sweep.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <set>

#include <gtest/gtest.h>

#include "support/ProcessCounts.h"
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

void runStep(Scenario& scenario, const Scenario::Step& step, std::size_t number) {
    const bool worked = step.run();
    const Effect effect = effectOn(scenario, number);
    const std::optional<Call> failed = CallLog::instance().failed();
    const bool mustFail = effect == Effect::StepFails && failed->step == number;
    EXPECT_TRUE(effect == Effect::LosesEvents || worked == !mustFail) << "step \"" << step.name << "\" told " << worked;
    if (worked) return;
    scenario.recover();
    EXPECT_TRUE(step.run()) << "step \"" << step.name << "\" tried again";
}

void runSteps(const ScenarioMaker& make) {
    const std::unique_ptr<Scenario> scenario = make();
    const std::vector<Scenario::Step> steps = scenario->steps();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        runStep(*scenario, steps[i], i);
        CallLog::instance().nextStep();
    }
}

void run(const ScenarioMaker& make, const std::optional<Fault>& fault) {
    const std::set<int> descriptors = openDescriptors();
    const long threads = threadCount();
    CallLog::instance().begin(fault);
    runSteps(make);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(waitUntilNoMoreThreadsThan(threads));
    EXPECT_EQ(CallLog::instance().failed().has_value(), fault.has_value()) << "the call was never made";
}

void runCase(const ScenarioMaker& make, const Fault& fault) {
    const std::string repeat =
        "repeat with HOSTLINK_SWEEP_CASE=\"" + fault.text() + "\" and --gtest_filter=" + testName();
    testIsAt(repeat);
    SCOPED_TRACE(repeat);
    run(make, fault);
}

} // namespace

void sweepOver(const std::string& call, const ScenarioMaker& make) {
    testIsAt("the run without faults of " + testName());
    run(make, std::nullopt);
    const std::size_t count = CallLog::instance().count(call);
    ASSERT_GT(count, 0U) << "the scenario makes no such call";
    for (std::size_t number = 1; number <= count; ++number) {
        for (const Failure& failure : failuresOf(call)) {
            const Fault fault{call, number, failure};
            if (isWanted(fault)) runCase(make, fault);
        }
    }
}

void expectCallsOf(const ScenarioMaker& make, const std::vector<std::string>& kinds) {
    run(make, std::nullopt);
    std::set<std::string> made;
    for (const Call& call : CallLog::instance().calls()) made.insert(call.name);
    EXPECT_EQ(made, std::set<std::string>(kinds.begin(), kinds.end()));
}

} // namespace sweep
