/// @file
/// How far something has come, where nothing can be drawn.
#pragma once

#include <cstdint>

/// Prints a line at each quarter.
class Quarters {
public:
    void show(uint64_t done, uint64_t whole);

private:
    int shown = 0;
};
