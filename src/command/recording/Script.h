/// @file
/// One side of a recording, as it is played.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <hostlink/ByteArray.h>

#include "Recording.h"

namespace command {

/// Who is played.
enum class Side { Module, Host };

/// Where a step has its place on a bus.
struct BusTurn {
    std::size_t exchange = 0;  ///< the steps of one exchange that the host asked for; 0: of none
    std::size_t readSize = 0;  ///< how many bytes are read in the transaction that the step writes
    bool needsRequest = false; ///< the host asks for it by the interrupt line
};

/// What one of the sides said.
struct Step {
    std::size_t order; ///< among all steps
    uint64_t time;     ///< nanoseconds since 1970
    bool isOurs;       ///< else the other side's: a packet that is to come
    ByteArray bytes;   ///< none: the interrupt line goes low
    BusTurn turn{};
};

/// What both sides said on one wire, in order. Where only packets were recorded, the link's answers to them are made
/// from its verdicts. Bytes of the other side that belong to no packet are left out.
std::vector<Step> scriptOf(const Recording& recording, uint32_t interface, Side played);

} // namespace command
