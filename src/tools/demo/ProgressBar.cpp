#include "ProgressBar.h"

#include <iostream>
#include <string>

#include <unistd.h>

namespace {

constexpr size_t width = 40;
constexpr std::chrono::milliseconds redraw{50}; // as often as an eye can follow

} // namespace

ProgressBar::ProgressBar(size_t whole) : total(whole == 0 ? 1 : whole), terminal(::isatty(STDOUT_FILENO) == 1) {}

double ProgressBar::percent(size_t done) const {
    return 100.0 * static_cast<double>(done) / static_cast<double>(total);
}

void ProgressBar::show(size_t done) {
    if (!terminal) {
        printQuarter(done);
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (done < total && now - lastDrawn < redraw) return;
    lastDrawn = now;
    drawBar(done);
}

void ProgressBar::drawBar(size_t done) const {
    const size_t filled = width * done / total;
    std::cout << "\r   [" << std::string(filled, '#') << std::string(width - filled, '.') << "] "
              << static_cast<int>(percent(done)) << " %" << (done >= total ? "\n" : "") << std::flush;
}

void ProgressBar::printQuarter(size_t done) {
    const int quarters = static_cast<int>(percent(done)) / 25;
    if (quarters <= quartersShown) return;
    quartersShown = quarters;
    std::cout << "   " << 25 * quarters << " % sent\n" << std::flush;
}
