/// @file
/// Requests of several threads through a client whose answers come late, twice, in another order, or never.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace truth {

struct AnswerOptions {
    uint64_t requests = 0; ///< in all
    uint32_t seed = 1;
    unsigned clients = 16; ///< at a time, each with a host of its own
    unsigned threads = 4;  ///< of each client, asking about the same few states
};

struct AnswerFigures {
    uint64_t asked = 0;
    uint64_t answered = 0;
    uint64_t unanswered = 0;
    uint64_t unsupported = 0;
    uint64_t otherwise = 0; ///< not sent, timed out before sending
    uint64_t stale = 0;     ///< answers that the clients have dropped
    uint64_t late = 0, lost = 0, twice = 0, swapped = 0;
    std::vector<std::string> wrong; ///< results that are another request's; the first few of each client
};

/// Every value is set once. A result is another request's when it says of a state what the host held at no time between
/// the request's beginning and its end, a set is answered with another value than its own, or what the host has never
/// called unsupported ends so. The seed gives the same requests and faults; how they meet follows from the time-outs.
AnswerFigures askForAnswers(const AnswerOptions& options);

/// Prints the figures and each wrong result.
/// @return whether there was none
bool runClientAnswers(uint64_t requests, uint32_t seed);

} // namespace truth
