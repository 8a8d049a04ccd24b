/// @file
/// From the names of the vocabulary to its numbers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace hostlink {

/// The state of that name, with or without "STA_", in upper and lower case alike; none when there is none. Any thread.
std::optional<uint16_t> stateNamed(const std::string& name);

/// The value that bears that name for this state; none when there is none. Any thread.
std::optional<int32_t> valueNamed(uint16_t state, const std::string& name);

/// The name of that value of this state; null when it has none. Any thread.
const std::string* nameOfValue(uint16_t state, int64_t value);

} // namespace hostlink
