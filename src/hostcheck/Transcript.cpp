#include "Transcript.h"

#include "Packets.h"
#include "Text.h"

namespace hostcheck {

void Transcript::add(Time at, Direction direction, const ByteArray& bytes) {
    kept.push_back({at, direction, bytes});
    if (kept.size() > most) kept.pop_front();
}

std::vector<std::string> Transcript::lines() const {
    std::vector<std::string> all;
    for (const Entry& entry : kept) {
        std::string line = rightAligned(inUnits(entry.at - kept.front().at, milliseconds(1), 2), 9) + " ms ";
        const char* mark = entry.direction == Direction::ToHost ? "> " : "< ";
        const std::string words = entry.direction == Direction::Skipped ? "bytes of no packet" : inWords(entry.bytes);
        line += mark;
        line += hex(entry.bytes);
        line += "   (";
        line += words;
        line += ")";
        all.push_back(line);
    }
    return all;
}

} // namespace hostcheck
