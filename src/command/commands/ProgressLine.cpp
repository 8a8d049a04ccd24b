#include "ProgressLine.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

#include <unistd.h>

namespace command {

namespace {

constexpr std::chrono::milliseconds redraw{50}; // as often as an eye can follow
constexpr std::chrono::seconds nextLine{1};
constexpr std::size_t width = 30;

std::string bar(const hostlink::Progress& now) {
    if (!now.total || *now.total == 0) return "";
    const double part = std::min(1.0, static_cast<double>(now.bytes) / static_cast<double>(*now.total));
    const auto filled = static_cast<std::size_t>(part * width);
    char percent[8];
    std::snprintf(percent, sizeof percent, "%3d %% ", static_cast<int>(part * 100));
    return "[" + std::string(filled, '#') + std::string(width - filled, '.') + "] " + percent;
}

std::string textOf(const hostlink::Progress& now) {
    std::string text = bar(now) + std::to_string(now.bytes);
    if (now.total) text += " of " + std::to_string(*now.total);
    text += " bytes, " + std::to_string(static_cast<long>(now.bytesPerSecond)) + " a second";
    if (now.left) text += ", " + std::to_string(std::chrono::ceil<std::chrono::seconds>(*now.left).count()) + " s left";
    return text;
}

json::Object objectOf(const hostlink::Progress& now) {
    json::Object object;
    object.number("bytes", now.bytes).number("bytesPerSecond", static_cast<long>(now.bytesPerSecond));
    if (now.total) object.number("total", *now.total);
    if (now.left) object.number("leftMs", now.left->count());
    return object;
}

} // namespace

ProgressLine::ProgressLine(Output& output) : out(output), terminal(!output.isJson() && ::isatty(STDOUT_FILENO) == 1) {}

void ProgressLine::show(const hostlink::Progress& now) {
    const auto time = std::chrono::steady_clock::now();
    const bool complete = now.total && now.bytes >= *now.total;
    if (last == decltype(last){} && !terminal)
        last = time; // the first line after a second: most files are sent by then
    if (time - last < (terminal ? std::chrono::milliseconds(redraw) : nextLine) && !(complete && terminal)) return;
    last = time;
    if (!terminal) {
        out.line(textOf(now), objectOf(now));
        return;
    }
    drawn = true;
    std::cout << "\r\033[K" << textOf(now) << std::flush; // what was longer before is wiped away
}

void ProgressLine::end() {
    if (drawn) std::cout << std::endl;
    drawn = false;
}

} // namespace command
