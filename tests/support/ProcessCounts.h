/// @file
/// Threads and descriptors of this process, counted by what the kernel lists (proc(5)).
#pragma once

#include <chrono>
#include <filesystem>

#include "Pause.h"

inline long entriesOf(const char* directory) {
    const std::filesystem::directory_iterator begin(directory);
    return static_cast<long>(std::distance(begin, std::filesystem::directory_iterator()));
}

inline long threadCount() {
    return entriesOf("/proc/self/task");
}

inline long descriptorCount() {
    return entriesOf("/proc/self/fd");
}

/// Waits until there are no more threads than before. Fewer will do: a thread that has been joined may be counted for a
/// moment longer, and so may have been among those before.
inline bool waitUntilNoMoreThreadsThan(long before, std::chrono::seconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (threadCount() > before) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        pauseBetweenLooks();
    }
    return true;
}
