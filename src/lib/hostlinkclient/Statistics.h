/// @file
/// What a client has done and seen.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <hostlink/HostLinkExport.h>

namespace hostlink {

/// How long answers took, from the moment the request's turn came. Bucket i counts those below `below(i)` that are in
/// no bucket before it; the last one has no end.
struct HOSTLINK_EXPORT ResponseTimes {
    static constexpr std::size_t size = 20;
    std::array<uint64_t, size> buckets{};
    std::chrono::microseconds longest{0};

    /// 100 µs, and twice as much from bucket to bucket.
    static constexpr std::chrono::microseconds below(std::size_t bucket) {
        return std::chrono::microseconds(100) * (uint64_t{1} << bucket);
    }
    /// All answers.
    uint64_t count() const;
    /// The end of the bucket in which so many of a hundred answers have come; 0 when there were none.
    std::chrono::microseconds percentile(unsigned percent) const;
};

/// Counted since the client was made, over all its links. An ordinary value; its numbers are read one after another and
/// may differ by what happens meanwhile.
struct HOSTLINK_EXPORT Statistics {
    uint64_t packetsOut = 0; ///< handed to the link, repetitions included
    uint64_t packetsIn = 0;  ///< message packets that the link delivered, those that came twice included
    uint64_t bytesOut = 0;   ///< of these packets
    uint64_t bytesIn = 0;
    uint64_t messagesOut = 0; ///< that the host's link has accepted
    uint64_t messagesIn = 0;

    uint64_t refusedPackets = 0;    ///< by the host's link: nacks
    uint64_t unansweredPackets = 0; ///< without a usable answer of the host's link
    uint64_t repeatedPackets = 0;   ///< of the host, that came twice and were dropped
    uint64_t failedMessages = 0;    ///< that the host's link has not accepted
    uint64_t retries = 0;           ///< requests sent again
    uint64_t timeouts = 0;          ///< requests whose answer did not come
    uint64_t staleAnswers = 0;      ///< answers to what had ended, or to nothing that was asked; dropped

    /// @name What only links know: 0 with a link that is no `CountingLink`
    /// @{
    uint64_t garbageBytes = 0; ///< outside packets, dropped; serial links
    uint64_t badPackets = 0;   ///< of the host, damaged, refused
    uint64_t otherPackets = 0; ///< of the host, whole, but none that a host sends by itself
    uint64_t edges = 0;        ///< of the interrupt line; bus links, as the next two
    uint64_t exchanges = 0;    ///< IRQ frames sent
    uint64_t rereads = 0;      ///< reads made again because the host was not ready
    /// @}

    uint64_t links = 0;              ///< that were opened
    uint64_t reconnects = 0;         ///< links after the first
    uint64_t losses = 0;             ///< of links
    uint64_t resynchronisations = 0; ///< links given up because the host accepted nothing

    ResponseTimes responseTimes;

    /// A line for each number, for people.
    std::string text() const;
    /// One object, its members named as above; durations in microseconds.
    std::string json() const;
};

} // namespace hostlink
