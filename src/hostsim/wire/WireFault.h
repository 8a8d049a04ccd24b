/// @file
/// What can happen to one packet on the wire, or to the one that answers it.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace faultywire {

enum class WireFault {
    None,
    // Any packet, in either direction.
    LostByte,      ///< one byte does not arrive
    CorruptedByte, ///< one byte arrives with at least one bit turned over
    InsertedByte,  ///< a random byte arrives before one of them
    RepeatedByte,  ///< one byte arrives twice
    // A message packet of the module.
    Silence, ///< the host does not hear it, nobody answers
    Nack,    ///< the host does not take it and refuses it
    // A response frame.
    LostAnswer, ///< it does not arrive, in either direction
    LateAnswer, ///< the host's comes `lateBy` after its time
};
constexpr size_t wireFaultCount = 9;

/// For texts and files, for example "lost-byte"; "none".
const char* nameOf(WireFault fault);
/// Throws std::invalid_argument for a name that is none.
WireFault faultNamed(const std::string& name);

/// One of the four that hit a byte.
bool hitsByte(WireFault fault);

/// How often what happens.
struct WireFaults {
    /// By fault: the probability, 0 to 1, that it hits a packet that it can hit.
    std::array<double, wireFaultCount> rates{};
    std::chrono::microseconds lateBy{0};
    uint64_t seed = 1;

    double& rate(WireFault fault) { return rates[static_cast<size_t>(fault)]; }
    double rate(WireFault fault) const { return rates[static_cast<size_t>(fault)]; }
};

} // namespace faultywire
