/// @file
/// Makes checks and keeps what came of them.
#pragma once

#include <string>
#include <vector>

#include "Bench.h"
#include "Check.h"

namespace hostcheck {

enum class Outcome { Passed, Failed, Skipped };

struct Result {
    const Check* check = nullptr;
    Outcome outcome = Outcome::Passed;
    unsigned rule = 0;             ///< that was broken
    std::string text;              ///< what was expected, or why it was skipped
    std::vector<std::string> wire; ///< what went over it last, when the check failed
    std::vector<std::string> notes;
    Time took{0};
    Time heldUp{0}; ///< for which the checker was kept from running
};

/// Checks whose name or group is one of these words, in the table's order; all when there are none.
/// @param mustsOnly leave out those whose rule is a "should"
/// @throw std::invalid_argument a word is neither
std::vector<const Check*> selected(const std::vector<std::string>& words, bool mustsOnly);

/// Brings the host into a known state before each check, and what it changed back after it. One thread.
class Runner {
public:
    Runner(Bench& theBench, Transcript& wireTranscript) : bench(theBench), transcript(wireTranscript) {}

    /// Makes a check that fails again, twice at most, when the checker itself was kept from running meanwhile.
    /// @throw Interrupted, LineLost
    Result run(const Check& check);

    /// Puts back what was changed, and resets the conversation. False when the host does not say that it did.
    bool leaveInOrder();

private:
    Result once(const Check& check);
    void prepare();
    void judge(const Check& check, Result& result);
    void make(const Check& check, Result& result);
    bool tidyUp();

    Bench& bench;
    Transcript& transcript;
};

} // namespace hostcheck
