/// @file
/// How tests set the checker up.
#pragma once

#include <string>

#include <hostcheck/Report.h>

/// All checks, also those that change states, and a load that is short.
inline hostcheck::Setup everything() {
    hostcheck::Setup setup;
    setup.destructive = true;
    setup.loadTime = std::chrono::seconds(4);
    return setup;
}

inline const hostcheck::Check& checkNamed(const std::string& name) {
    return *hostcheck::selected({name}, false).at(0);
}
