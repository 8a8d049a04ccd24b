/// @file
/// What a host that misbehaves on request shall do.
#pragma once

#include <cstdint>
#include <optional>

#include "HostTime.h"

namespace hostsim {

/// Disturbance of single bytes; each rate is the probability, 0 to 1, that one byte is hit.
struct ByteNoise {
    double dropRate = 0;    ///< the byte is lost
    double corruptRate = 0; ///< at least one of its bits is turned over
    double insertRate = 0;  ///< a random byte comes before it
    double repeatRate = 0;  ///< it comes twice

    bool any() const { return dropRate > 0 || corruptRate > 0 || insertRate > 0 || repeatRate > 0; }
};

/// The faults of one host. All of them are off by default and any of them combine. "Every n" means packets number n,
/// 2n, 3n, ... of that direction, 0 means never.
struct FaultOptions {
    // How message packets of the module are answered. The first fault in this order that applies to a packet decides;
    // a packet that is not answered with a plain ack is not taken.
    unsigned silentEvery = 0;  ///< no answer at all
    unsigned ackNackEvery = 0; ///< both bits: the host reports an error
    unsigned neitherEvery = 0; ///< neither bit
    unsigned nackFirst = 0;    ///< nack the first n attempts of each packet; the module makes at most four

    unsigned lateEvery = 0; ///< the answer, whatever it is, comes `lateBy` after its time
    Time lateBy{0};

    // What the host sends by itself.
    unsigned repeatEvery = 0;  ///< send the packet a second time after the module has acknowledged it
    unsigned burst = 0;        ///< send this many input events nobody asked for when a message has come in
    unsigned garbageEvery = 0; ///< put random bytes before the packet, half a start mark at the end of every fourth
                               ///< time but never a whole one; on a bus: the first read gives random bytes
    unsigned garbageBytes = 8; ///< how many
    bool splitWrites = false;  ///< hand each byte to the line in a write of its own (serial line only)

    // Of files that the host sends, chunks number n, 2n, 3n, ... those that are sent again counted too.
    unsigned damageChunkEvery = 0; ///< one bit of the data is turned over; the checksum is that of the right ones
    unsigned loseChunkEvery = 0;   ///< the chunk is not sent

    ByteNoise toModule; ///< bytes on their way to the module
    ByteNoise toHost;   ///< bytes on their way to the host

    // Bus only.
    unsigned lateTransfers = 0;    ///< each answer starts this many read transfers late; before it come idle bytes
    unsigned irqNackFirst = 0;     ///< nack the first n IRQ frames that ask for each packet
    unsigned irqAnnounceFirst = 0; ///< announce the size n times before each packet, although it would fit;
                                   ///< not into a read that is too short for an announcement

    std::optional<uint64_t> limit; ///< inject no more than this many faults, then behave well
    uint64_t seed = 1;             ///< of every random choice
};

} // namespace hostsim
