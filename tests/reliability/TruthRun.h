/// @file
/// Carries a plan out.
#pragma once

#include <memory>

#include "HostSide.h"
#include "Plan.h"
#include "Record.h"

namespace truth {

/// The application, transport and link at one end and `host` at the other. The application sends a message again, at
/// most twice, when it was not accepted, and makes a serial link anew after five calls in a row that failed.
Record carryOut(const Plan& plan, LinkKind kind, HostSide& host, const Timing& timing);

} // namespace truth
