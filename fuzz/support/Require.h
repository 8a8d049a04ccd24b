/// @file
/// What a fuzz target claims.
#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process unless `condition` holds; the fuzzer, or the replay, then names the input that did it.
inline void require(bool condition, const char* claim) {
    if (condition) return;
    std::fprintf(stderr, "Does not hold: %s\n", claim);
    std::abort();
}
