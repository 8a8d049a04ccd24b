/// @file
/// What went over the wire during a check.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "Wire.h"

namespace hostcheck {

enum class Direction { ToHost, FromHost, Skipped };

/// The latest things that happened on the wire; older ones are forgotten. One thread.
class Transcript {
public:
    struct Entry {
        Time at;
        Direction direction;
        ByteArray bytes;
    };

    void clear() { kept.clear(); }
    void add(Time at, Direction direction, const ByteArray& bytes);
    const std::deque<Entry>& entries() const { return kept; }

    /// One line an entry: when, whence, hex, and in words. Times count from the first.
    std::vector<std::string> lines() const;

private:
    static constexpr size_t most = 14;
    std::deque<Entry> kept;
};

} // namespace hostcheck
