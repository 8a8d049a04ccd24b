#include "Throughput.h"

namespace hostlink::exchange {

namespace {

constexpr Time grain = std::chrono::milliseconds(100); // marks are no closer, so that they stay few

constexpr double longestTold = 1e9; // seconds: further ahead nobody looks, and a Time cannot hold much more

double seconds(Time time) {
    return std::chrono::duration<double>(time).count();
}

} // namespace

void Throughput::note(uint64_t bytes, Time now) {
    if (marks.size() > 1 && now - marks[marks.size() - 2].at < grain) marks.pop_back();
    marks.push_back({now, bytes});
    while (marks.size() > 2 && now - marks[1].at >= window) marks.pop_front();
}

double Throughput::rate(Time now) const {
    const double span = seconds(now - marks.front().at);
    return span > 0 ? static_cast<double>(marks.back().bytes - marks.front().bytes) / span : 0;
}

std::optional<Time> Throughput::left(uint64_t total, Time now) const {
    const double speed = rate(now);
    const uint64_t done = marks.back().bytes;
    if (speed <= 0) return std::nullopt;
    const double rest = total > done ? static_cast<double>(total - done) : 0;
    if (rest / speed > longestTold) return std::nullopt;
    return std::chrono::duration_cast<Time>(std::chrono::duration<double>(rest / speed));
}

} // namespace hostlink::exchange
