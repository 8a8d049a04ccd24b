/// @file
/// What the events of an interrupt line mean.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

/// Counts the edges to serve from what a GPIO character device reports: each falling edge once, none merged, and those
/// that the kernel's full queue has dropped noticed by the gap in the numbers of the line.
///
/// A level that is low without an event (at the start, or after a gap) counts as one edge. The event of that very edge
/// may still come; it is told by its time and not counted again. Knows no thread, lock, log, clock or file.
class LineEvents {
public:
    /// Size of one event as the kernel's second GPIO interface reports it.
    static constexpr std::size_t eventBytes = 48;

    struct Decision {
        std::size_t edges = 0; ///< to serve
        std::uint32_t lost =
            0; ///< events that the kernel has dropped: the level tells whether one more is to be served
    };

    /// Whole events, in the order in which they were read; what is left behind the last whole one is ignored. Each is,
    /// in the processor's byte order: time in nanoseconds (8 bytes), kind (4), offset of the line (4), number among the
    /// events of the request (4) and of the line (4), 24 bytes without meaning.
    Decision take(const unsigned char* bytes, std::size_t size);

    /// The level has been asked for. `time` is one before that, on the clock of the events: what happens between the
    /// two is counted twice rather than not at all.
    /// @return edges to serve: 1 when the line is low
    std::size_t look(bool low, std::uint64_t time);

private:
    bool isCounted(std::uint64_t time);

    std::uint32_t last = 0;              // number of the last event; the first has 1
    std::optional<std::uint64_t> looked; // when an edge was counted by its level, and its event may still come
};
