/// @file
/// What every file of the links says its lines to, and under which name it traces.
#pragma once

#include "LinkLog.h"

[[maybe_unused]] static log4cplus::Logger& logger = linkLogger();
[[maybe_unused]] constexpr auto scope = "HostLinkPhysicalLayer";
