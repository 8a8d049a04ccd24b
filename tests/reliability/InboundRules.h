/// @file
/// What has to hold for the messages from the host to the module.
#pragma once

#include "Verdict.h"

namespace truth {

/// - The link delivered nothing that did not arrive on the wire, and only packets that the host sent.
/// - The transport delivered exactly what these packets make when put together by frame id.
/// - The module got no message that was not sent, and none twice.
/// - Each message that the module acknowledged to its last packet came up to the application.
/// - Without a fault the host had to give nothing up.
void judgeInbound(const Record& record, Verdict& verdict);

} // namespace truth
