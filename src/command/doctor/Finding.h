/// @file
/// What a look at the machine has found.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace command {

/// How good it is.
enum class Verdict {
    Good,
    Doubtful, ///< the link may work all the same
    Bad       ///< the link cannot work so
};

/// "ok", "warn", "fail".
const char* nameOf(Verdict verdict);

struct Finding {
    Verdict verdict;
    std::string what;   ///< what was looked at, in one word: "access", "speed"
    std::string about;  ///< the device or the line
    std::string text;   ///< what there is
    std::string remedy; ///< the command that mends it; empty where nothing is to be mended
};

/// Findings about one thing after another, in the order in which they were made.
class Findings {
public:
    /// What the next findings are about.
    void lookAt(std::string thing) { about = std::move(thing); }

    void good(const std::string& what, const std::string& text, const std::string& remedy = "") {
        all.push_back({Verdict::Good, what, about, text, remedy});
    }
    void doubtful(const std::string& what, const std::string& text, const std::string& remedy) {
        all.push_back({Verdict::Doubtful, what, about, text, remedy});
    }
    void bad(const std::string& what, const std::string& text, const std::string& remedy) {
        all.push_back({Verdict::Bad, what, about, text, remedy});
    }

    const std::vector<Finding>& list() const { return all; }
    std::size_t count(Verdict verdict) const;

private:
    std::string about;
    std::vector<Finding> all;
};

} // namespace command
