/// @file
/// The long truth run: every link, every kind of fault, every rate, over and over.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace truth {

struct MatrixOptions {
    uint64_t seed = 1;
    std::chrono::seconds time{15};
    std::string csvPath; ///< empty: none
};

/// One round of the matrix, to look at it again.
struct RoundOptions {
    std::string link; ///< "uart", "i2c", "spi"
    std::string kind; ///< as in the table, for example "LostByte"
    double rate = 0;
    uint64_t seed = 1;
    unsigned segments = 1;
    unsigned messages = 8; ///< of each segment
};

/// Writes what was wrong. False when an outcome had no recorded cause; throws std::invalid_argument for a name.
bool runRound(const RoundOptions& options);

/// All links at once, each on a thread of its own, until the time is over. Writes progress and a table to the standard
/// output. False when an outcome was wrong without a recorded cause.
bool runMatrix(const MatrixOptions& options);

} // namespace truth
