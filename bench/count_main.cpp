// One whole path for an instruction counter, which counts inside `countedRun`:
//   bench_count core|classes typical|item900 PACKET_SIZE
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "WholePath.h"

namespace {

using Path = uint32_t (*)(Load, uint16_t);

constexpr int warmUpRuns = 16; // binds the libraries' functions and brings the heap to where it stays

} // namespace

// With a name that the counter can be told: not inlined, not hidden.
extern "C" __attribute__((noinline, visibility("default"))) uint32_t countedRun(Path path, Load load, uint16_t size) {
    return path(load, size) + 1;
}

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench_count core|classes typical|item900 PACKET_SIZE\n");
        return 2;
    }
    const Path path = std::strcmp(argv[1], "core") == 0 ? wholePathCore : wholePathClasses;
    const Load load = std::strcmp(argv[2], "typical") == 0 ? Load::Typical : Load::Item900;
    const auto size = static_cast<uint16_t>(std::strtoul(argv[3], nullptr, 10));
    uint32_t expected = 0;
    for (int i = 0; i < warmUpRuns; ++i) expected = path(load, size);
    return countedRun(path, load, size) == expected + 1 ? 0 : 1;
}
