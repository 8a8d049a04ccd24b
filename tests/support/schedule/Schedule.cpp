#include "Schedule.h"

namespace schedule {

namespace {

// What a number is drawn for, so that no two draws are the same.
enum class For : std::uint64_t { Asleep, Favour, ChangeCount, ChangePoint, Priority, Whether, HowLong };

// The finaliser of SplitMix64 (Steele, Lea, Flood: Fast splittable pseudorandom number generators, 2014).
std::uint64_t mixed(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

std::uint64_t draw(std::uint64_t seed, For purpose, std::uint64_t a, std::uint64_t b = 0) {
    return mixed(mixed(mixed(mixed(seed) ^ static_cast<std::uint64_t>(purpose)) ^ a) ^ b);
}

bool oneIn(std::uint64_t count, std::uint64_t drawn) {
    return drawn % count == 0;
}

// Between first and last, each doubling as likely as any other.
std::uint32_t logUniform(std::uint64_t drawn, std::uint32_t first, std::uint32_t last) {
    unsigned doublings = 0;
    while ((first << (doublings + 1)) <= last) ++doublings;
    const std::uint32_t begin = first << (drawn % (doublings + 1));
    const std::uint32_t value = begin + static_cast<std::uint32_t>((drawn >> 32) % begin);
    return value < last ? value : last;
}

} // namespace

bool Schedule::holdsAsleep() const {
    return oneIn(2, draw(seed, For::Asleep, 0));
}

bool Schedule::favours(Point point) const {
    return oneIn(4, draw(seed, For::Favour, indexOf(point)));
}

bool Schedule::isLow(unsigned thread, unsigned phase) const {
    return oneIn(2, draw(seed, For::Priority, thread, phase));
}

Pause Schedule::at(unsigned thread, std::uint32_t number, Point point) const {
    const auto changes = static_cast<unsigned>(1 + draw(seed, For::ChangeCount, thread) % maxChangePoints);
    unsigned phase = 0;
    bool changesHere = false;
    for (unsigned i = 0; i < changes; ++i) {
        const std::uint32_t change = logUniform(draw(seed, For::ChangePoint, thread, i), 1, lastChangePoint);
        phase += change <= number ? 1U : 0U;
        changesHere = changesHere || change == number;
    }
    const std::uint64_t whether = draw(seed, For::Whether, thread, number);
    const std::uint64_t howLong = draw(seed, For::HowLong, thread, number);
    if (changesHere && oneIn(2, whether)) return {false, logUniform(howLong, longestOfShort, longest)};
    const bool low = isLow(thread, phase);
    const std::uint64_t rarity = !low ? 64 : favours(point) ? 2 : 8;
    if (oneIn(rarity, whether)) return {false, logUniform(howLong, shortest, longestOfShort)};
    return {oneIn(8, howLong), 0};
}

} // namespace schedule
