/// @file
/// The house's one owner of descriptors, as this library names it.
#pragma once

#include <descriptor/Descriptor.h>

namespace serialcomm {

using descriptor::Descriptor;
using descriptor::repeatInterrupted;

} // namespace serialcomm
