/// @file
/// The engine on an emulated board as the host of a truth run.
#pragma once

#include <memory>

#include "HostSide.h"

namespace truth {

/// Throws std::system_error where there can be no board.
std::unique_ptr<HostSide> makeBoardHost(const Timing& timing);

} // namespace truth
