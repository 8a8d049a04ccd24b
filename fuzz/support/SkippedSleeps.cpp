#include "SkippedSleeps.h"

#include <atomic>

#include <time.h>

namespace {

std::atomic<std::chrono::nanoseconds::rep> skipped{0};

} // namespace

std::chrono::nanoseconds takeSkippedSleep() {
    return std::chrono::nanoseconds(skipped.exchange(0));
}

// In place of the C library's: std::this_thread::sleep_for ends up here.
extern "C" int nanosleep(const timespec* time, timespec* /*left*/) {
    const auto span = std::chrono::seconds(time->tv_sec) + std::chrono::nanoseconds(time->tv_nsec);
    skipped += std::chrono::nanoseconds(span).count();
    return 0;
}
