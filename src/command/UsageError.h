/// @file
/// A command that cannot be carried out as it was given.
#pragma once

#include <stdexcept>

namespace command {

/// What is wrong and what to write instead. Nothing has been sent.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace command
