/// @file
/// What the protocol cannot notice or undo.
#pragma once

#include <array>
#include <cstddef>

namespace truth {

/// Why something came out wrong although every part did its duty.
enum class Limit {
    DamagedPacket,   ///< a byte of a packet was damaged, and no checksum tells
    DamagedResponse, ///< a response frame was damaged into another one
    StaleResponse,   ///< the answer to an earlier packet was taken for that to a later one
    LostResponse,    ///< the answer did not come in time, so the sender cannot know
    FrameIdReuse,    ///< packets of a broken frame stood before a later frame of the same id
    RepeatedPacket,  ///< a packet that was taken is sent again, after its answer was damaged
    LinkMadeAnew,    ///< a new link knows nothing of the half message that the old one held
    Machine,         ///< the machine let nobody run, and the answer came too late
};
constexpr size_t limitCount = 8;

inline const char* nameOf(Limit limit) {
    constexpr std::array<const char*, limitCount> names{"damaged packet", "damaged response", "stale response",
                                                        "lost response",  "frame id reuse",   "repeated packet",
                                                        "link made anew", "machine"};
    return names.at(static_cast<size_t>(limit));
}

} // namespace truth
