// One whole path for an instruction counter, which counts inside `countedRun`; tells how often it asked for memory:
//   bench_count core|classes|program-core|program-classes typical|item900 PACKET_SIZE
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "WholePath.h"

namespace {

using Path = uint32_t (*)(Load, uint16_t);

constexpr int warmUpRuns = 16; // binds the libraries' functions and brings the heap to where it stays

unsigned allocations = 0;

Path pathCalled(const char* name) {
    if (std::strcmp(name, "core") == 0) return wholePathCore;
    if (std::strcmp(name, "classes") == 0) return wholePathClasses;
    if (std::strcmp(name, "program-core") == 0) return programPathCore;
    if (std::strcmp(name, "program-classes") == 0) return programPathClasses;
    return nullptr;
}

} // namespace

// All that the classes and their vectors and strings ask for comes through here. Two instructions of a count.
void* operator new(size_t size) {
    ++allocations;
    void* memory = std::malloc(size);
    if (memory == nullptr) std::abort();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

// With a name that the counter can be told: not inlined, not hidden.
extern "C" __attribute__((noinline, visibility("default"))) uint32_t countedRun(Path path, Load load, uint16_t size) {
    return path(load, size) + 1;
}

int main(int argc, char** argv) {
    const Path path = argc == 4 ? pathCalled(argv[1]) : nullptr;
    if (path == nullptr) {
        std::fprintf(stderr,
                     "usage: bench_count core|classes|program-core|program-classes typical|item900 PACKET_SIZE\n");
        return 2;
    }
    const Load load = std::strcmp(argv[2], "typical") == 0 ? Load::Typical : Load::Item900;
    const auto size = static_cast<uint16_t>(std::strtoul(argv[3], nullptr, 10));
    uint32_t expected = 0;
    for (int i = 0; i < warmUpRuns; ++i) expected = path(load, size);
    if (expected == 0) return 1; // a path that does not bring the message back is not worth counting
    const unsigned before = allocations;
    const uint32_t result = countedRun(path, load, size);
    std::printf("%u\n", allocations - before);
    return result == expected + 1 ? 0 : 1;
}
