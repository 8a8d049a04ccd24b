/// @file
/// Judges a record.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Limits.h"
#include "Record.h"

namespace truth {

/// What is counted. Sums of several runs are made with `add`.
struct Figures {
    uint64_t messages = 0;   ///< the application wanted to send
    uint64_t delivered = 0;  ///< of them, the host has exactly
    uint64_t calls = 0;      ///< of writeMessage
    uint64_t falseCalls = 0; ///< returned false
    uint64_t falseThoughHad = 0;
    uint64_t trueNotHad = 0;
    uint64_t duplicates = 0;  ///< deliveries of a message beyond the first, at the host
    uint64_t wrongAtHost = 0; ///< put together by the host, and never sent
    uint64_t inbound = 0;     ///< the host put onto the wire whole
    uint64_t arrived = 0;     ///< of them, the module has exactly
    uint64_t wrongAtModule = 0;
    uint64_t duplicatesAtModule = 0;
    uint64_t faults = 0;              ///< packets that were hit
    uint64_t packets = 0;             ///< that crossed the wire, both ways
    uint64_t reopened = 0;            ///< the link was made anew
    uint64_t seconds1000 = 0;         ///< milliseconds of the parts with faults
    double slowestOfBound = 0;        ///< largest share of its bound that a call took
    std::vector<double> recoveriesMs; ///< of a message to the host

    void add(const Figures& other);
};

struct Verdict {
    Figures figures;
    /// Wrong outcomes with a recorded cause that the protocol cannot help, by cause.
    std::map<Limit, uint64_t> exceptions;
    /// Everything else that came out wrong: each is a fault of the product or of this harness.
    std::vector<std::string> failures;
    /// The same, when it can be that the machine let nobody run for too long.
    std::vector<std::string> late;
    /// An answer that no fault had hit came too late. What came out wrong may follow from that.
    bool hasLateAnswer = false;
};

Verdict judge(const Record& record);

} // namespace truth
