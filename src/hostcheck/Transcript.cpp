#include "Transcript.h"

#include <cstdio>

#include "Packets.h"

namespace hostcheck {

namespace {

constexpr double microsecondsInAMillisecond = 1000;

} // namespace

void Transcript::add(Time at, Direction direction, const ByteArray& bytes) {
    kept.push_back({at, direction, bytes});
    if (kept.size() > most) kept.pop_front();
}

std::vector<std::string> Transcript::lines() const {
    std::vector<std::string> all;
    for (const Entry& entry : kept) {
        char time[32];
        std::snprintf(time, sizeof time, "%9.2f ms ",
                      static_cast<double>((entry.at - kept.front().at).count()) / microsecondsInAMillisecond);
        const char* mark = entry.direction == Direction::ToHost ? "> " : "< ";
        const std::string words = entry.direction == Direction::Skipped ? "bytes of no packet" : inWords(entry.bytes);
        all.push_back(time + (mark + hex(entry.bytes)) + "   (" + words + ")");
    }
    return all;
}

} // namespace hostcheck
