/// @file
/// Packets out of a log of the library at TRACE.
#pragma once

#include <string>
#include <vector>

#include "Piece.h"

namespace command {

/// Whether there is a dump of a link in it: a line that says what comes, and below it lines of an offset and bytes.
bool isLog(const std::string& input);

/// The dumps, one piece each, with direction and time of the line above, whatever layout the log has; what a journal
/// puts before each line does not matter. All other lines are passed over.
std::vector<Piece> piecesOfLog(const std::string& input);

} // namespace command
