/// @file
/// What a host has seen and done.
#pragma once

#include <cstdint>
#include <string>

namespace hostsim {

/// Totals since the start. "Sent" is from the host to the module, "received" the other way.
struct HostCounts {
    uint64_t bytesReceived = 0;   ///< as they came off the wire, before noise
    uint64_t bytesSent = 0;       ///< as they went onto the wire, after noise
    uint64_t packetsReceived = 0; ///< packets that verify, of every kind
    uint64_t packetsSent = 0;     ///< packets of every kind
    uint64_t messagesReceived = 0;
    uint64_t messagesSent = 0; ///< acknowledged to the last packet

    uint64_t acksReceived = 0;
    uint64_t nacksReceived = 0;
    uint64_t acksSent = 0;
    uint64_t nacksSent = 0; ///< for bad packets and as fault

    uint64_t bytesSkipped = 0;        ///< received bytes that belong to no packet
    uint64_t badPackets = 0;          ///< received, a start mark but not a packet
    uint64_t duplicatePackets = 0;    ///< received again although taken: acknowledged and dropped
    uint64_t framesAbandoned = 0;     ///< received in part, then given up
    uint64_t strayResponses = 0;      ///< received while none was expected
    uint64_t missingResponses = 0;    ///< did not come in time
    uint64_t messagesGivenUp = 0;     ///< not sent: refused too often or not acknowledged
    uint64_t unsupportedMessages = 0; ///< received, answered with "UnsupportedMessageResponse"

    // Faults injected on purpose.
    uint64_t faultNacks = 0;
    uint64_t faultAckNacks = 0;
    uint64_t faultNeithers = 0;
    uint64_t faultSilences = 0;
    uint64_t faultLateAnswers = 0;
    uint64_t faultRepeatedPackets = 0;
    uint64_t faultBursts = 0;
    uint64_t faultGarbage = 0; ///< packets with garbage before them
    uint64_t faultSplitWrites = 0;
    uint64_t faultDroppedBytes = 0;
    uint64_t faultCorruptedBytes = 0;
    uint64_t faultInsertedBytes = 0;
    uint64_t faultRepeatedBytes = 0;
    uint64_t faultLateTransfers = 0;
    uint64_t faultIrqNacks = 0;
    uint64_t faultIrqAnnouncements = 0;
    uint64_t faultDamagedChunks = 0;
    uint64_t faultLostChunks = 0;

    /// All faults together.
    uint64_t faults() const;
};

/// One line for each count that is not 0, the first six always.
std::string countsAsText(const HostCounts& counts);

/// One JSON object in one line, every count in it under its member's name, and "faults" for their sum.
std::string countsAsJson(const HostCounts& counts);

} // namespace hostsim
