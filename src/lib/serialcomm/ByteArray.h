/// @file
/// The byte buffer of the serial library's interface. The same type bears this name in the host-link library; the two
/// libraries share no header, so that either can be replaced alone.
#pragma once

#include <vector>

/// An ordered, growable sequence of unsigned bytes.
using ByteArray = std::vector<unsigned char>;
