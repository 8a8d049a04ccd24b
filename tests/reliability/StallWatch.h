/// @file
/// Notices when the machine lets nobody run.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Record.h"

namespace truth {

/// A thread that wants to run every few milliseconds and notes when it could not for `limit`.
class StallWatch {
public:
    explicit StallWatch(Duration limit)
        : thread([this, limit] {
              while (!ended) {
                  const Moment before = std::chrono::steady_clock::now();
                  std::this_thread::sleep_for(interval);
                  const Moment after = std::chrono::steady_clock::now();
                  if (after - before < interval + limit) continue;
                  const std::lock_guard lock(mutex);
                  stalls.emplace_back(before, after);
              }
          }) {}
    ~StallWatch() {
        ended = true;
        thread.join();
    }
    StallWatch(const StallWatch&) = delete;
    StallWatch& operator=(const StallWatch&) = delete;

    std::vector<std::pair<Moment, Moment>> take() {
        const std::lock_guard lock(mutex);
        return std::exchange(stalls, {});
    }

private:
    static constexpr std::chrono::milliseconds interval{2};

    std::atomic<bool> ended{false};
    std::mutex mutex; // guards stalls
    std::vector<std::pair<Moment, Moment>> stalls;
    std::thread thread; // started last
};

} // namespace truth
