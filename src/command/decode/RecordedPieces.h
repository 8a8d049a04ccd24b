/// @file
/// Packets out of a recording.
#pragma once

#include <string>
#include <vector>

#include "Piece.h"

namespace command {

/// Each packet of a recording, and what belongs to none, one piece each, with the time and, where several wires were
/// recorded, the wire.
/// @throw UsageError the recording is damaged
std::vector<Piece> piecesOfRecording(const std::string& content);

} // namespace command
