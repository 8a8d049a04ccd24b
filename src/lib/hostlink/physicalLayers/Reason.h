/// @file
/// What an error number means, for lines of the log.
#pragma once

#include <string>
#include <system_error>

inline std::string reasonOf(int error) {
    return std::generic_category().message(error);
}
