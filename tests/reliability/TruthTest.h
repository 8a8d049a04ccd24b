/// @file
/// One short truth run as a test, over any link.
#pragma once

#include <functional>
#include <iostream>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "PatientRun.h"
#include "TruthCase.h"
#include "support/TestSeed.h"
#include "support/schedule/HostileScheduler.h"

namespace truth {

struct TruthCase {
    LinkKind link;
    FaultKind kind;
    double rate; ///< share of the packets that are hit
};

/// "UartLostByte10".
inline std::string nameOf(const TruthCase& testCase) {
    std::string link = nameOf(testCase.link);
    link[0] = static_cast<char>(link[0] - 'a' + 'A');
    return link + testCase.kind.name + std::to_string(static_cast<int>(testCase.rate * 100));
}

/// How GoogleTest shows a case, and CTest names it: the same in every run.
inline void PrintTo(const TruthCase& testCase, std::ostream* out) {
    *out << nameOf(testCase);
}

/// Without faults, then each kind of them at 1 and at 10 percent; refusals also at 50, to see the fourth attempt.
inline std::vector<TruthCase> casesOf(const std::vector<LinkKind>& links) {
    std::vector<TruthCase> cases;
    for (const LinkKind link : links) {
        cases.push_back({link, noFaults(), 0});
        for (const FaultKind& kind : faultKinds())
            for (const double rate : {0.01, 0.1}) cases.push_back({link, kind, rate});
        cases.push_back({link, {"Nack", {faultywire::WireFault::Nack}}, 0.5});
    }
    return cases;
}

/// Runs the plan that follows from the printed seed, and fails for each outcome that has no recorded cause.
inline void expectTruth(const TruthCase& testCase,
                        const std::function<std::unique_ptr<HostSide>(const Timing&)>& makeHost) {
    PlanOptions options;
    options.seed = testSeed() + schedule::HostileScheduler::seed(); // another plan for each seed of a hunt
    options.messages = testCase.rate > 0.05 ? 8 : 25;
    options.rate = testCase.rate;
    options.kinds = testCase.kind.faults;
    const PatientVerdict result = runPatiently(options, testCase.link, [&](const Timing& timing) {
        const schedule::Undisturbed farSide;
        return makeHost(timing);
    });
    const Verdict& verdict = result.verdict;
    for (const std::string& failure : verdict.failures) ADD_FAILURE() << failure;
    EXPECT_GT(verdict.figures.arrived, 0U);
    EXPECT_GT(verdict.figures.delivered, 0U);
    if (result.repeats > 0) std::cout << "repeated " << result.repeats << " times: the machine is slow" << std::endl;
    for (const auto& [limit, times] : verdict.exceptions)
        std::cout << "protocol limit: " << nameOf(limit) << ", " << times << " times" << std::endl;
}

} // namespace truth
