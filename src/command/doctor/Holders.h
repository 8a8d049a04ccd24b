/// @file
/// Who has a device open.
#pragma once

#include <string>
#include <vector>

namespace command {

struct Holder {
    int process;
    std::string name;
};

struct Holders {
    std::vector<Holder> all; ///< without this program
    bool allSeen = true;     ///< false: there are processes of others whose files this user may not see

    /// "agetty (412), minicom (500)"
    std::string print() const;
    /// "412 500"
    std::string processes() const;
};

/// As far as /proc tells this user.
Holders holdersOf(const std::string& path);

} // namespace command
