/// @file
/// How often something took how long.
#pragma once

#include <array>
#include <atomic>
#include <chrono>

#include "hostlinkclient/Statistics.h"

namespace hostlink {

/// Noted and read on any thread, without a lock.
class Histogram {
public:
    void note(std::chrono::steady_clock::duration took);
    ResponseTimes read() const;

private:
    std::array<std::atomic<uint64_t>, ResponseTimes::size> buckets{};
    std::atomic<int64_t> longest{0}; // µs
};

} // namespace hostlink
