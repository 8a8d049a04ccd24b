#include "LiveBytes.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> live{0};

// In front of each block, as wide as the strictest alignment of an ordinary type, stands its size.
constexpr size_t front = alignof(std::max_align_t);
static_assert(front >= sizeof(size_t));

void* take(size_t size) noexcept {
    void* const block = std::malloc(front + size);
    if (block == nullptr) return nullptr;
    *static_cast<size_t*>(block) = size;
    live += static_cast<long>(size);
    return static_cast<char*>(block) + front;
}

void giveBack(void* memory) noexcept {
    if (memory == nullptr) return;
    void* const block = static_cast<char*>(memory) - front;
    live -= static_cast<long>(*static_cast<size_t*>(block));
    std::free(block);
}

} // namespace

long liveBytes() {
    return live;
}

// Those for arrays and those that do not throw come down to these; those for wider alignments stay the library's.
void* operator new(size_t size) {
    void* const memory = take(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept {
    giveBack(memory);
}
void operator delete(void* memory, size_t) noexcept {
    giveBack(memory);
}
