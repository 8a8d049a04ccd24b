/// @file
/// Which links a program can have here.
#pragma once

#include <memory>
#include <vector>

#include "HostSide.h"

namespace truth {

/// The serial link, and inside the rig the two buses as well, each with a board of its own.
std::vector<LinkKind> linksHere();
/// A host behind a link of this kind, freshly switched on.
std::unique_ptr<HostSide> makeHost(LinkKind kind, const Timing& timing);

} // namespace truth
