// How often each case asks for memory: "group|subject|point count".
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

#include "cases/Case.h"

namespace {

unsigned long allocations = 0; // of the one thread that there is
constexpr int warmUpRuns = 16; // what is made once is there then

} // namespace

// All that C++ code asks for, the libraries' included, comes through here.
void* operator new(size_t size) {
    ++allocations;
    void* const memory = std::malloc(size);
    if (memory == nullptr) std::abort();
    return memory;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

int main() try {
    for (const bench::Case& one : bench::ownCases()) {
        for (int i = 0; i < warmUpRuns; ++i) one.run();
        const unsigned long before = allocations;
        one.run();
        const unsigned long made = allocations - before;
        std::printf("%s|%s|%s %lu\n", one.group.c_str(), one.subject.c_str(), one.point.c_str(), made);
    }
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "bench_allocations: %s\n", failure.what());
    return 1;
}
