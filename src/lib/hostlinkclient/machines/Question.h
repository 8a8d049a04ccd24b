/// @file
/// What is asked of the host, and what answers it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkNumbers.h>

namespace hostlink {

using Time = std::chrono::steady_clock::time_point;
using Duration = std::chrono::steady_clock::duration;

/// What a message with the answer's id is to a question.
enum class Verdict {
    Foreign, ///< not its answer
    Part,    ///< says less than was asked for; its answer only when nobody else can have asked for it
    Answer
};

/// One message to the host. A value.
struct Question {
    ByteArray message;
    /// Id of the answer; `MSG_Invalid` when nothing answers the message.
    MessageId answerId = MSG_Invalid;
    /// With the answer's id: what tells its answers from those to other questions, in ascending order: states, a
    /// sequence number, ... A question whose key is part of another's can be confused with it: a host may answer less
    /// than asked.
    std::vector<uint16_t> key;
    /// Whether a message with the answer's id is the answer.
    std::function<Verdict(const ByteArray&)> judge;
    /// Questions of one family, but for 0, may have each other's answers: they ask the same again.
    uint64_t family = 0;
    /// How often it may be sent altogether. More than once only when it does no harm.
    int sendings = 1;
    /// How long after it was sent the answer may take. Without an answer's id: how long the host may take to call it
    /// unsupported; 0 does not wait.
    Duration answerTime{};
    /// When it ends, whatever has come of it.
    Time deadline;
    /// Waits while there is no link, instead of ending.
    bool waitsForLink = false;
    /// May be sent before the host is known to be there.
    bool isProbe = false;
};

} // namespace hostlink
