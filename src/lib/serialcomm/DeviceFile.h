/// @file
/// Opening a device file.
#pragma once

#include <string>

#include "Descriptor.h"

namespace serialcomm {

/// Opens `path` for reading and writing, closed on exec, with `extraFlags` of open(2); none after an ERROR line about
/// `device`.
Descriptor openDeviceFile(const std::string& path, int extraFlags, const std::string& device);

} // namespace serialcomm
