/// @file
/// Opening a device file.
#pragma once

#include <string>

#include "Descriptor.h"

namespace serialcomm {

/// What a log line says about a device that the system calls busy, beside the path.
using BusyText = std::string (*)(const std::string& path);

std::string inUseByAnother(const std::string& path);

/// Opens `path` for reading and writing, closed on exec, with `extraFlags` of open(2); none after an ERROR line about
/// `device`.
Descriptor openDeviceFile(const std::string& path, int extraFlags, const std::string& device,
                          BusyText whenBusy = &inUseByAnother);

} // namespace serialcomm
