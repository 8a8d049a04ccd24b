/// @file
/// Somebody outside in a slave's place.
#pragma once

#include <deque>
#include <optional>
#include <string>

#include "Bytes.h"

namespace busrig {

/// Is told a transaction phase by phase, and gives what each read phase reads. Pure: who waits for whom is the rig's
/// affair.
struct StandIn {
    /// From now on, or no more; what was told is forgotten.
    void put(bool inPlace) {
        isInPlace = inPlace;
        told.clear();
        given.reset();
    }

    bool isInPlace = false;
    bool isBusy = false;          ///< a transaction is being told
    bool isAsked = false;         ///< what was told last is a read phase, which waits for its bytes
    std::deque<std::string> told; ///< phases that nobody has fetched yet: "w HEX", "r COUNT"
    std::optional<Bytes> given;   ///< for the read phase that waits
};

} // namespace busrig
