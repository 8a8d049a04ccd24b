/// @file
/// Times of requests: the client beside the same by hand.
#pragma once

#include "HostProcess.h"

namespace bench {

/// The far sides, each for one subject. Made before the process has threads.
struct AnsweringHosts {
    HostProcess client{0, HostProcess::Kind::Answering};
    HostProcess byHand{0, HostProcess::Kind::Answering};
    HostProcess idle{0, HostProcess::Kind::Answering};
    HostProcess recorded{0, HostProcess::Kind::Answering};
    HostProcess notRecorded{0, HostProcess::Kind::Answering};
};

/// Registers a `get` through the client, the same with transport and a condition variable, an idle
/// client, and a `get` that is recorded beside one that is not.
void registerRequestTimes(const AnsweringHosts& hosts);

} // namespace bench
