/// @file
/// Whether this program hunts: runs each of its tests under a scheduler that is against it.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <optional>

namespace schedule {

/// The seed of the first run of each test; the n-th repetition of all tests has the n-th seed after it.
constexpr auto seedVariable = "HOSTLINK_SCHEDULE_SEED";

/// From the environment; none: this is no hunt, and no thread is held up.
inline std::optional<std::uint64_t> firstSeed() {
    const char* given = std::getenv(seedVariable);
    if (given == nullptr) return std::nullopt;
    return std::strtoull(given, nullptr, 10);
}

inline bool isHunt() {
    return firstSeed().has_value();
}

} // namespace schedule
