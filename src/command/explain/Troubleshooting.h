/// @file
/// What lines of the log mean, as docs/troubleshooting.md has it.
#pragma once

#include <string>
#include <vector>

namespace command {

/// One row of the page.
struct Explanation {
    std::string line; ///< as it stands there
    std::string meaning;
    std::string remedy;
};

/// The rows of the page whose line the given one holds, the most alike first. The page has N, T, C, P and NAME where a
/// line has numbers and names, and "…" where it goes on.
std::vector<Explanation> explanationsOf(const std::string& line, const std::string& page);

/// The page, as it was when the program was built.
std::string troubleshootingPage();

} // namespace command
