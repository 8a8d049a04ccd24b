/// @file
/// "The n-th system call fails", for every n and in every way.
///
/// One test sweeps one kind of call (`read`, `ioctl`, ...) through one scenario: first a run without faults, which
/// tells how often the call is made (three, where runs differ: the least), then one run for each of these calls and
/// each of its failures. A case that goes wrong is reported with a line such as
///
///     repeat with HOSTLINK_SWEEP_CASE="read 2 EIO" and --gtest_filter=Uart/UartSweep.EveryFailureOf/read
///
/// Each run checks that the failed step says so, that everything works when it is tried again with the same object,
/// that no descriptor and no thread is left, and that it ends: one that hangs ends the program with its case.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "CallLog.h"

namespace sweep {

/// What a failed call may do to the step of the scenario in which it was made.
enum class Effect {
    None,       ///< every step works
    StepFails,  ///< its step fails, works when it is repeated, and no other step is touched
    LosesEvents ///< steps may fail, and work when they are repeated after `Scenario::recover`
};

/// A subject in use, from its set-up to its end. Made anew for each run.
class Scenario {
public:
    struct Step {
        std::string name;
        std::function<bool()> run; // true: worked. UnderTest stands inside, around the calls into the subject
    };

    Scenario() = default;
    virtual ~Scenario() = default;
    Scenario(const Scenario&) = delete;
    Scenario& operator=(const Scenario&) = delete;

    virtual std::vector<Step> steps() = 0;
    virtual Effect effectOf(const Call& call, const Failure& failure) const = 0;
    /// Before a step that failed is tried again.
    virtual void recover() {}
    /// Whether each run makes the same calls. Where it does not, because threads meet at different places each time, a
    /// call may be missed by a run that was to make it fail, half of the runs at most; and a step may fail in any run.
    virtual bool isRepeatable() const { return true; }
};

using ScenarioMaker = std::function<std::unique_ptr<Scenario>()>;

/// Sweeps one kind of call. Reports through GoogleTest's assertions.
/// @param failures those to try; empty: every one that the call knows
void sweepOver(const std::string& call, const ScenarioMaker& make, std::vector<Failure> failures = {});

/// Checks that a run without faults makes no call of another kind than these, and each of these.
void expectCallsOf(const ScenarioMaker& make, const std::vector<std::string>& kinds);

} // namespace sweep
