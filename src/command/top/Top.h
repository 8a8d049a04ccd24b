/// @file
/// The live table of `watch --top`.
#pragma once

#include <string>
#include <vector>

#include <hostlinkclient/StateId.h>

#include "command/Program.h"

namespace command {

/// Shows the states until q or Ctrl-C.
/// @param all they were not named: those that the host does not have are not shown
/// @throw UsageError standard input and output are no terminal
ExitCode runTop(Program& program, const std::vector<hostlink::StateId>& states, bool all);

} // namespace command
