#include "LineEvents.h"

#include <cstring>

namespace {

// Where the fields stand in an event.
constexpr std::size_t timeAt = 0;
constexpr std::size_t kindAt = 8;
constexpr std::size_t numberAt = 20;
constexpr std::uint32_t fallingEdge = 2;

template <typename Number> Number load(const unsigned char* from) {
    Number number;
    std::memcpy(&number, from, sizeof number);
    return number;
}

} // namespace

LineEvents::Decision LineEvents::take(const unsigned char* bytes, std::size_t size) {
    Decision decision;
    for (std::size_t at = 0; at + eventBytes <= size; at += eventBytes) {
        const unsigned char* const event = bytes + at;
        const auto number = load<std::uint32_t>(event + numberAt);
        decision.lost += number - last - 1; // numbers go round
        last = number;
        if (load<std::uint32_t>(event + kindAt) != fallingEdge) continue;
        if (!isCounted(load<std::uint64_t>(event + timeAt))) ++decision.edges;
    }
    return decision;
}

// Events come in the order of their times: after a later one none of before the look can come.
bool LineEvents::isCounted(std::uint64_t time) {
    const bool counted = looked && time <= *looked;
    looked.reset();
    return counted;
}

std::size_t LineEvents::look(bool low, std::uint64_t time) {
    if (!low) return 0;
    looked = time;
    return 1;
}
