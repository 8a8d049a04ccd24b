// Instructions of each case, under callgrind: runs all of them in one process and has the counter dump after each.
#include <cstdio>
#include <exception>

#include <valgrind/callgrind.h>

#include "cases/Case.h"

namespace {

constexpr int warmUpRuns = 16; // binds the libraries' functions and brings the heap to where it stays

} // namespace

int main() try {
    for (const bench::Case& one : bench::ownCases()) {
        uint64_t sum = 0;
        for (int i = 0; i < warmUpRuns; ++i) sum += one.run();
        const std::string name = one.group + "|" + one.subject + "|" + one.point;
        CALLGRIND_ZERO_STATS;
        CALLGRIND_TOGGLE_COLLECT;
        const uint64_t counted = one.run();
        CALLGRIND_TOGGLE_COLLECT;
        CALLGRIND_DUMP_STATS_AT(name.c_str());
        if (counted * warmUpRuns != sum) throw bench::NotReproduced(one.subject, name);
    }
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "bench_counts: %s\n", failure.what());
    return 1;
}
