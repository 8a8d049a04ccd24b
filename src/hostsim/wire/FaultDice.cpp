#include "FaultDice.h"

namespace faultywire {

namespace {

constexpr double inverseOf53Bits = 1.0 / 9007199254740992.0;

} // namespace

void FaultDice::set(const WireFaults& wireFaults) {
    options = wireFaults;
    random.seed(wireFaults.seed);
}

WireFault FaultDice::drawOf(std::initializer_list<WireFault> candidates) {
    for (const WireFault fault : candidates) {
        const double rate = options.rate(fault);
        if (rate > 0 && static_cast<double>(random() >> 11) * inverseOf53Bits < rate) return fault;
    }
    return WireFault::None;
}

WireFault FaultDice::drawByteFault() {
    return drawOf({WireFault::LostByte, WireFault::CorruptedByte, WireFault::InsertedByte, WireFault::RepeatedByte});
}

Entry FaultDice::damage(EntryKind direction, const ByteArray& packet, WireFault fault) {
    Entry entry{direction, {}, fault, 0, packet, packet};
    if (!hitsByte(fault) || packet.empty()) return entry;
    entry.position = static_cast<size_t>(random() % packet.size());
    const auto at = entry.arrived.begin() + static_cast<std::ptrdiff_t>(entry.position);
    const auto byte = static_cast<unsigned char>(random());
    const unsigned char hit = *at;
    switch (fault) {
    case WireFault::LostByte: entry.arrived.erase(at); break;
    case WireFault::CorruptedByte: *at = static_cast<unsigned char>(hit ^ (byte == 0 ? 1 : byte)); break;
    case WireFault::InsertedByte: entry.arrived.insert(at, byte); break;
    default: entry.arrived.insert(at, hit); break;
    }
    return entry;
}

} // namespace faultywire
