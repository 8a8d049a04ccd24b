#include "ProgressLine.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

namespace console {

namespace {

constexpr std::chrono::milliseconds redraw{50};
constexpr std::size_t barWidth = 30;
constexpr const char* wipedLine = "\r\033[K"; // what was longer before is gone

std::string bar(double part) {
    const auto filled = static_cast<std::size_t>(part * barWidth);
    char percent[8];
    std::snprintf(percent, sizeof percent, "%3d %%", static_cast<int>(part * 100));
    return "[" + std::string(filled, '#') + std::string(barWidth - filled, '.') + "] " + percent;
}

// As much as fits: a line that wraps could not be drawn over.
std::string cut(std::string text) {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1)
        text.resize(std::min<std::size_t>(text.size(), size.ws_col - 1U));
    return text;
}

} // namespace

double partOf(uint64_t done, uint64_t whole) {
    return whole == 0 ? 1 : std::min(1.0, static_cast<double>(done) / static_cast<double>(whole));
}

ProgressLine::ProgressLine(std::string indentation)
    : before(std::move(indentation)), terminal(::isatty(STDOUT_FILENO) == 1) {}

void ProgressLine::show(uint64_t done, uint64_t whole, const std::string& text) {
    const auto now = std::chrono::steady_clock::now();
    const bool complete = whole != 0 && done >= whole;
    if (!terminal || (now - last < redraw && !complete)) return;
    last = now;
    drawn = true;
    const std::string line = whole == 0 ? text : bar(partOf(done, whole)) + (text.empty() ? "" : " ") + text;
    std::cout << wipedLine << cut(before + line) << std::flush;
}

void ProgressLine::end() {
    if (drawn) std::cout << std::endl;
    drawn = false;
}

} // namespace console
