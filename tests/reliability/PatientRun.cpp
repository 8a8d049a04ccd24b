#include "PatientRun.h"

#include <string>

#include "TruthRun.h"
#include "support/Watchdog.h"

namespace truth {

PatientVerdict runPatiently(PlanOptions options, LinkKind kind,
                            const std::function<std::unique_ptr<HostSide>(const Timing&)>& makeHost) {
    PatientVerdict result;
    for (const int patience : {1, 4, 12, 40}) {
        testIsAt("the run with time-outs " + std::to_string(patience) + " times as long");
        const Timing timing(patience);
        options.lateBy = timing.lateBy;
        const std::unique_ptr<HostSide> host = makeHost(timing);
        result.verdict = judge(carryOut(makePlan(options), kind, *host, timing));
        const Verdict& verdict = result.verdict;
        if (verdict.late.empty() && (verdict.failures.empty() || !verdict.hasLateAnswer)) return result;
        ++result.repeats;
    }
    Verdict& last = result.verdict;
    last.failures.insert(last.failures.end(), last.late.begin(), last.late.end());
    return result;
}

} // namespace truth
