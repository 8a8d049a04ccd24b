/// @file
/// "The n-th allocation fails", for every n.
///
/// A case that goes wrong is reported with `repeat with HOSTLINK_SWEEP_CASE=<n>`, which runs it alone.
#pragma once

#include <cstdlib>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "Allocations.h"
#include "support/Watchdog.h"

namespace sweep {

/// What one run came to.
struct Outcome {
    bool completed; ///< else std::bad_alloc came out
    long live;      ///< blocks that it allocated and did not give back
};

/// Runs `operation` with its n-th allocation failing, for n from 1 until a run needs fewer than n, or `check`
/// has failed for good. What it throws is
/// caught when it is std::bad_alloc. After each run `check` is told the outcome; memory is unlimited then.
template <typename Operation, typename Check> void sweepAllocations(Operation operation, Check check) {
    const char* wanted = std::getenv("HOSTLINK_SWEEP_CASE");
    const std::size_t first = wanted != nullptr ? std::strtoul(wanted, nullptr, 10) : 1;
    bool failed = true;
    for (std::size_t number = first; failed && (wanted == nullptr || number == first); ++number) {
        const std::string repeat = "repeat with HOSTLINK_SWEEP_CASE=" + std::to_string(number);
        SCOPED_TRACE(repeat);
        testIsAt(repeat);
        Outcome outcome{true, 0};
        {
            const Allocations memory(number);
            try {
                operation();
            } catch (const std::bad_alloc&) {
                outcome.completed = false;
            }
            failed = memory.failed();
            outcome.live = memory.live();
        }
        check(outcome);
        if (testing::Test::HasFatalFailure()) return; // the next run would stand on what this one has left
        EXPECT_TRUE(failed || number > first) << "the operation allocates nothing";
    }
}

} // namespace sweep
