/// @file
/// How what crosses a terminal is measured.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Short and often: what else runs on the machine hits some repetitions and leaves the others alone.
constexpr int shortRun = 500; // exchanges
constexpr int manyRuns = 45;

/// What is measured beside others.
struct Subject {
    std::string name;
    std::function<bool()> exchange; ///< one exchange; tells whether it went well
    std::function<void()> before{}; ///< what a run needs; not measured
    std::function<void()> after{};
};

/// Own time of all threads, and the clock's, of each subject: a repetition has `shortRun` exchanges of each, one
/// subject after the other, so that the subjects' ratio is taken within moments, whatever else the machine did before
/// and after. The counters are "SUBJECT|cpu" and "SUBJECT|real", in nanoseconds for an exchange.
void registerSideBySide(const std::string& name, const std::vector<Subject>& subjects);

/// Own time of all threads, and the clock's, for so many exchanges that often. `exchange` tells whether it went well.
void registerExchange(const std::string& name, int exchanges, int repetitions, const std::function<bool()>& exchange);

/// How often the other threads of this process wake up while it does nothing for half a second, after `before`.
void registerIdle(const std::string& name, const std::function<void()>& before);

} // namespace bench
