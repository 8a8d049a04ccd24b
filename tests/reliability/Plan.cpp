#include "Plan.h"

#include <algorithm>
#include <array>
#include <random>

namespace truth {

namespace {

using Random = std::mt19937_64; // its sequence is fixed by the standard, unlike the distributions'

// Of all eight: four hit any packet, two only a message packet, two only a response frame.
constexpr double kindsThatHitAPacket = 6;

size_t below(Random& random, size_t limit) {
    return static_cast<size_t>(random() % limit);
}

ByteArray randomTail(Random& random) {
    // Mostly one packet of 64 bytes, some of a few, one in ten of up to a dozen.
    const size_t draw = below(random, 10);
    const size_t size = draw < 6 ? below(random, 46) : draw < 9 ? below(random, 150) : below(random, 600);
    ByteArray bytes(size);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
    return bytes;
}

} // namespace

ByteArray numberedMessage(uint32_t number, char direction, const ByteArray& tail) {
    const auto byte = [number](int at) { return static_cast<unsigned char>((number >> (8 * at)) & 0xFF); };
    const std::array<unsigned char, 7> head{0x3F,    0x80,   static_cast<unsigned char>(direction), byte(0), byte(1),
                                            byte(2), byte(3)};
    ByteArray message(head.size() + tail.size());
    std::copy(tail.begin(), tail.end(), std::copy(head.begin(), head.end(), message.begin()));
    return message;
}

Plan makePlan(const PlanOptions& options) {
    Random random(options.seed);
    constexpr int sizes[] = {64, 64, 32, 128};
    Plan plan;
    plan.maxPacketSize = sizes[below(random, 4)];
    uint32_t outbound = 0;
    uint32_t inbound = 0;
    for (unsigned number = 0; number < options.segments; ++number) {
        Segment segment;
        segment.faults.seed = random();
        segment.faults.seed >>= 8; // fits the text form
        segment.faults.lateBy = options.lateBy;
        for (const auto kind : options.kinds)
            segment.faults.rate(kind) = options.kinds.size() == 1 ? options.rate : options.rate / kindsThatHitAPacket;
        for (unsigned message = 0; message < options.messages; ++message) {
            Step step;
            step.outbound = numberedMessage(outbound++, 'o', randomTail(random));
            for (size_t count = below(random, 3); count > 1; --count)
                step.inbound.push_back(numberedMessage(inbound++, 'i', randomTail(random)));
            segment.steps.push_back(step);
        }
        plan.segments.push_back(segment);
    }
    return plan;
}

} // namespace truth
