/// @file
/// A truth run on a machine that may be busy.
#pragma once

#include <functional>
#include <memory>

#include "HostSide.h"
#include "Plan.h"
#include "Verdict.h"

namespace truth {

struct PatientVerdict {
    Verdict verdict;
    unsigned repeats = 0; ///< because the machine was too slow
};

/// Runs the plan of these options and judges it. Where an answer may have come too late because the machine let nobody
/// run, the same plan is run again with time-outs four times as long, and once more with twelve times. What is
/// wrong then as well is wrong.
PatientVerdict runPatiently(PlanOptions options, LinkKind kind,
                            const std::function<std::unique_ptr<HostSide>(const Timing&)>& makeHost);

} // namespace truth
