/// @file
/// The host on one of the rig's boards. Only for programs inside the rig.
#pragma once

#include <memory>

#include "HostSide.h"
#include "rig/RigControl.h"

namespace truth {

/// @param kind I2c or Spi
std::unique_ptr<HostSide> makeBusHost(LinkKind kind, const busrig::RigBoard& board, const Timing& timing);

} // namespace truth
