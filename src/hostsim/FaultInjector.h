/// @file
/// Decides when a host misbehaves.
#pragma once

#include <cstdint>
#include <random>

#include <hostlink/ByteArray.h>

#include "FaultOptions.h"
#include "HostCounts.h"

namespace hostsim {

/// How a message packet is answered instead of with an ack.
enum class AnswerFault { None, Silence, AckNack, Neither, Nack };

/// Makes the decisions of `FaultOptions`. The same options, seed and order of questions give the same decisions on
/// every machine. Every fault that it hands out is counted and goes against the limit. One thread at a time.
class FaultInjector {
public:
    /// @param hostCounts where the faults are counted; not owned, must live longer
    FaultInjector(const FaultOptions& faults, HostCounts& hostCounts);

    /// @param packetNumber message packets received so far, this one included
    /// @param attempt      1 when this packet comes for the first time
    AnswerFault answerFault(uint64_t packetNumber, unsigned attempt);
    /// How much later than usual the answer comes.
    Time answerDelay(uint64_t packetNumber);

    /// @param packetNumber message packets sent so far, this one included
    bool repeats(uint64_t packetNumber);
    /// What goes onto the wire before the packet; mostly nothing. Any bytes, but never a whole start mark, also not
    /// together with the packet. Every fourth garbage ends with the first byte of one: the packet's own mark then reads
    /// `FF FF FE`.
    ByteArray garbage(uint64_t packetNumber);
    /// Whether the bytes of a packet are written one by one.
    bool splitsWrites();

    /// How many events nobody asked for follow a message that has come in.
    unsigned burst();

    /// Whether a chunk of a file that the host sends goes out damaged, or not at all.
    /// @param chunkNumber chunks sent so far, this one and those that were sent again included
    bool damagesChunk(uint64_t chunkNumber);
    bool losesChunk(uint64_t chunkNumber);

    /// Read transfers by which an answer starts late.
    unsigned lateTransfers();
    /// @param attempt 1 for the first IRQ frame that asks for a packet
    bool refusesIrq(unsigned attempt);
    /// @param announced how often the size of this packet has been announced
    bool announcesSize(unsigned announced);

    /// The bytes as they arrive on the other side of a noisy line.
    ByteArray toModule(const ByteArray& bytes) { return disturb(bytes, options.toModule); }
    ByteArray toHost(const ByteArray& bytes) { return disturb(bytes, options.toHost); }

private:
    bool inject(uint64_t HostCounts::*count);
    bool happens(double rate);
    unsigned char randomByte();
    ByteArray disturb(const ByteArray& bytes, const ByteNoise& noise);

    FaultOptions options;
    HostCounts& counts;
    std::mt19937_64 random; // its sequence is fixed by the standard, unlike the distributions'
};

} // namespace hostsim
