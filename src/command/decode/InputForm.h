/// @file
/// The forms in which bytes are handed in.
#pragma once

#include <string>
#include <vector>

#include "Piece.h"

namespace command {

/// The bytes of an input, whatever form it has: its first bytes, or its lines, tell.
/// @throw UsageError it has none of the forms, or breaks the one that it has; the text says where
std::vector<Piece> piecesOf(const std::string& input);

} // namespace command
