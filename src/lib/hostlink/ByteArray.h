/// @file
/// The byte buffer that crosses every boundary above the function core.
#pragma once

#include <vector>

/// An ordered, growable sequence of unsigned bytes.
using ByteArray = std::vector<unsigned char>;
