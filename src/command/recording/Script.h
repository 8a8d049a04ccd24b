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

/// What one of the sides said.
struct Step {
    std::size_t order; ///< among all steps
    uint64_t time;     ///< nanoseconds since 1970
    bool isOurs;       ///< else the other side's: a packet that is to come
    ByteArray bytes;
};

/// What both sides said on one wire, in order. Where only packets were recorded, the link's answers to them are made
/// from its verdicts. Bytes of the other side that belong to no packet are left out.
std::vector<Step> scriptOf(const Recording& recording, uint32_t interface, Side played);

} // namespace command
