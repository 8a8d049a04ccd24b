/// @file
/// What has to hold for the messages from the module to the host.
#pragma once

#include "Verdict.h"

namespace truth {

/// - The wire carried each message cut as the format says, under one frame id; a packet went out again only after a
///   refusal, four times at most; `true` was returned exactly when the last packet was accepted.
/// - `true` means that the host has every byte.
/// - The host put nothing together that was not sent, and nothing more often than it was sent.
/// - `false` has a reason.
/// - No call took longer than its bound.
void judgeOutbound(const Record& record, Verdict& verdict);

} // namespace truth
