/// @file
/// The module's end of a bus, a packet at a time.
#pragma once

#include <array>
#include <deque>

#include "Link.h"

namespace hostcheck {

/// How the host behaved in one exchange that its line asked for.
struct BusExchange {
    ByteArray packet; ///< empty: none came
    ByteArray answer; ///< what came instead, when it was a packet
    unsigned announced = 0;
    uint32_t announcedSize = 0;
    unsigned reads = 0; ///< of the last answer
    bool lowBefore = false;
};

/// Writes packets and reads their answers as the module does; serves the interrupt line when packets are asked for.
class BusLink : public Link {
public:
    /// When the reads of an answer begin, after the first.
    static constexpr Time readPause{1500};
    static constexpr unsigned mostReads = 4;
    static constexpr uint32_t usualRead = 64;

    BusLink(BusWire& busWire, Transcript& wireTranscript) : wire(busWire), transcript(wireTranscript) {}

    Time now() override { return wire.now(); }
    Time heldUp() const override { return wire.heldUp(); }
    void put(const ByteArray& bytes, bool answered) override;
    std::optional<ByteArray> packet(Time until) override;
    Time wireTime(size_t /*bytes*/) const override { return Time(0); }
    size_t takeSkipped() override { return 0; }
    void forget() override { come.clear(); }

    /// Asks the host for its packet with this size, and again as it announces.
    BusExchange exchange(uint32_t size);
    /// Writes, and reads until an answer begins. Empty: none did.
    ByteArray writeAndRead(const ByteArray& bytes, size_t count, unsigned* reads);

    /// In how many reads each answer came since the beginning; the last place counts those that never did.
    const std::array<size_t, mostReads + 1>& readCounts() const { return counts; }

private:
    BusWire& wire;
    Transcript& transcript;
    std::deque<ByteArray> come;
    uint8_t irqId = 0;
    std::array<size_t, mostReads + 1> counts{};
};

} // namespace hostcheck
