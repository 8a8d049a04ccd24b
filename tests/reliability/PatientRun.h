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
/// run, the same plan is run again with time-outs four times as long, then twelve times and forty times: an emulated
/// board that shares two processors with seven programs that compute needs more than twelve. What is wrong then as well
/// is wrong.
PatientVerdict runPatiently(PlanOptions options, LinkKind kind,
                            const std::function<std::unique_ptr<HostSide>(const Timing&)>& makeHost);

} // namespace truth
