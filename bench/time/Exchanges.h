/// @file
/// How what crosses a terminal is measured.
#pragma once

#include <functional>
#include <string>

namespace bench {

/// Short and often: what else runs on the machine hits some repetitions and leaves the others alone.
constexpr int shortRun = 500; // exchanges
constexpr int manyRuns = 45;

/// Own time of all threads, and the clock's, for so many exchanges that often. `exchange` tells whether it went well.
void registerExchange(const std::string& name, int exchanges, int repetitions, const std::function<bool()>& exchange);

/// How often the other threads of this process wake up while it does nothing for half a second, after `before`.
void registerIdle(const std::string& name, const std::function<void()>& before);

} // namespace bench
