#include "LinePacer.h"

#include <algorithm>

namespace hostsim {

namespace {

constexpr uint64_t bitsPerByte = 10;
constexpr uint64_t microsecondsPerSecond = 1000000;
constexpr size_t gathered = 16;

} // namespace

Time LinePacer::duration(uint64_t bytes) const {
    if (baud == 0) return Time::zero();
    const uint64_t scaled = bytes * bitsPerByte * microsecondsPerSecond;
    return Time(static_cast<Time::rep>((scaled + baud - 1) / baud)); // not before the last bit is over
}

void LinePacer::push(const ByteArray& bytes, Time now) {
    const Time free = runBegan + duration(taken + line.size());
    if (line.empty() && free <= now) { // the line has been quiet: a new run
        runBegan = now;
        taken = 0;
    }
    line.insert(line.end(), bytes.begin(), bytes.end());
}

size_t LinePacer::arrivedBy(Time now) const {
    if (baud == 0) return line.size();
    if (now < runBegan) return 0;
    const auto elapsed = static_cast<uint64_t>((now - runBegan).count());
    const uint64_t total = elapsed * baud / (bitsPerByte * microsecondsPerSecond);
    return std::min<uint64_t>(line.size(), total > taken ? total - taken : 0);
}

ByteArray LinePacer::take(Time now) {
    const auto end = line.begin() + static_cast<long>(arrivedBy(now));
    ByteArray bytes(line.begin(), end);
    line.erase(line.begin(), end);
    taken += bytes.size();
    return bytes;
}

std::optional<Time> LinePacer::nextDeadline() const {
    if (line.empty()) return std::nullopt;
    return runBegan + duration(taken + std::min(line.size(), gathered));
}

} // namespace hostsim
