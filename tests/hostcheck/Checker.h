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

/// "ends with both bits" as "EndsWithBothBits", a name for a case of a test.
inline std::string camelCase(const std::string& words) {
    std::string camel;
    bool isFirst = true;
    for (const char c : words) {
        const bool isLetter = std::isalnum(static_cast<unsigned char>(c)) != 0;
        if (isLetter) camel += isFirst ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
        isFirst = !isLetter;
    }
    return camel;
}
