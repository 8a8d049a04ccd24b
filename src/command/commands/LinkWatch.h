/// @file
/// What commands that go on tell of the link.
#pragma once

#include <hostlinkclient/Client.h>

#include "command/Program.h"

namespace command {

/// Tells, until it is destroyed, whenever the link goes down. The client makes it anew.
hostlink::Listening tellLosses(Program& program);

/// How a command ends that goes on until Ctrl-C or its count: well, unless the link is down.
ExitCode endOf(Program& program);

} // namespace command
