/// @file
/// How far something has come.
#pragma once

#include <chrono>
#include <cstddef>

/// Draws a bar on a terminal; elsewhere prints a line at each quarter.
class ProgressBar {
public:
    /// @param whole what counts as done
    explicit ProgressBar(size_t whole);
    void show(size_t done);

private:
    void drawBar(size_t done) const;
    void printQuarter(size_t done);
    double percent(size_t done) const;

    size_t total;
    bool terminal;
    int quartersShown = 0;
    std::chrono::steady_clock::time_point lastDrawn;
};
