/// @file
/// How far something has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace console {

/// One line of the terminal on the standard output, drawn again and again; elsewhere nothing. On one thread at a time.
class ProgressLine {
public:
    /// @param indentation what stands before the line
    explicit ProgressLine(std::string indentation = "");

    bool isTerminal() const { return terminal; }
    /// "[####......]  40 %" and the text behind it. Drawn as often as an eye can follow, and when it is complete.
    /// @param whole what counts as done; 0: not known, and no bar is drawn
    void show(uint64_t done, uint64_t whole, const std::string& text);
    /// The line is complete: what comes next begins a new one.
    void end();

private:
    const std::string before;
    const bool terminal;
    bool drawn = false;
    std::chrono::steady_clock::time_point last{};
};

/// The part that is done, from 0 to 1, also of nothing.
double partOf(uint64_t done, uint64_t whole);

} // namespace console
