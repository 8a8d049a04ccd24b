/// @file
/// What of this process's memory is taken through operator new and not given back.
#pragma once

#include <cstddef>

/// Bytes asked for by all threads together. The programs that link this have their operators new and delete replaced.
long liveBytes();
