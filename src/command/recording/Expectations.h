/// @file
/// What the other side is to say, and what it says.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "Script.h"

namespace command {

/// Where the other side said something else.
struct Difference {
    const Step* expected; ///< null: nothing
    ByteArray came;       ///< empty: nothing
};

/// Compares packets as they come with those of the recording. Answers of the link, IRQ frames and packets that carry
/// messages are compared apart, each in their order: which of them comes first is up to threads. Frame ids are the
/// sender's choice and count for nothing unless asked for. Behind a difference it finds the way back where one of the
/// next packets comes as it was.
class Expectations {
public:
    using Tell = std::function<void(const Difference&)>;

    Expectations(const std::vector<Step>& steps, bool withFrameIds, Tell tell);

    /// A packet has come.
    /// @return the one of the recording that it is, or in whose place it came; null when no more are expected
    const Step* came(const ByteArray& packet);
    /// The first packet before that place which has not come; null when all have.
    const Step* missingBefore(std::size_t order) const;
    /// What has not come by now does not come any more.
    void giveUp(const Step& missing);

    /// How many answers have not come, where nothing else is missing.
    std::size_t answersLeft() const;

    std::size_t expected() const;
    /// How many came as they were.
    std::size_t same() const { return equal; }
    std::size_t different() const { return differences; }
    /// How many came when nothing was expected any more.
    std::size_t behind() const { return extra; }

private:
    struct Lane {
        std::vector<const Step*> steps;
        std::size_t next = 0;
    };

    Lane& laneOf(const ByteArray& packet);
    bool isSame(const ByteArray& one, const ByteArray& other) const;
    std::optional<std::size_t> find(const Lane& lane, const ByteArray& packet) const;
    void miss(Lane& lane);

    const bool exact;
    const Tell told;
    std::array<Lane, 3> lanes; // messages and the like, IRQ frames, answers
    std::size_t equal = 0;
    std::size_t differences = 0;
    std::size_t extra = 0;
};

} // namespace command
