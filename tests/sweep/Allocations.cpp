// Replaces the program's operator new and delete, also for the shared libraries. Built upon malloc, so that sanitizers
// see every block.
#include "Allocations.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

struct Watch {
    bool on;
    std::size_t failing;
    std::size_t count;
    long live;
};

thread_local Watch watch{};

thread_local std::function<void()> actionWithin;

bool mayAllocate() {
    if (actionWithin) std::exchange(actionWithin, nullptr)();
    return !watch.on || ++watch.count != watch.failing;
}

void* counted(void* block) {
    if (watch.on && block != nullptr) ++watch.live;
    return block;
}

void* allocate(std::size_t size) {
    return mayAllocate() ? counted(std::malloc(size != 0 ? size : 1)) : nullptr;
}

void* allocateAligned(std::size_t size, std::align_val_t alignment) {
    const auto boundary = static_cast<std::size_t>(alignment);
    const std::size_t whole = (size + boundary - 1) / boundary * boundary;
    return mayAllocate() ? counted(std::aligned_alloc(boundary, whole != 0 ? whole : boundary)) : nullptr;
}

void* orThrow(void* block) {
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void release(void* block) {
    if (watch.on && block != nullptr) --watch.live;
    std::free(block);
}

} // namespace

namespace sweep {

Allocations::Allocations(std::size_t failing) {
    watch = {true, failing, 0, 0};
}

void withinNextAllocation(std::function<void()> action) {
    actionWithin = std::move(action);
}

Allocations::~Allocations() {
    watch.on = false;
}

std::size_t Allocations::count() const {
    return watch.count;
}

bool Allocations::failed() const {
    return watch.failing != 0 && watch.count >= watch.failing;
}

long Allocations::live() const {
    return watch.live;
}

UnwatchedAllocations::UnwatchedAllocations() : before(std::exchange(watch.on, false)) {}

UnwatchedAllocations::~UnwatchedAllocations() {
    watch.on = before;
}

} // namespace sweep

void* operator new(std::size_t size) {
    return orThrow(allocate(size));
}
void* operator new[](std::size_t size) {
    return orThrow(allocate(size));
}
void* operator new(std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
    return allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return orThrow(allocateAligned(size, alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return orThrow(allocateAligned(size, alignment));
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    release(block);
}
void operator delete[](void* block, std::size_t /*size*/) noexcept {
    release(block);
}
void operator delete(void* block, const std::nothrow_t& /*unused*/) noexcept {
    release(block);
}
void operator delete[](void* block, const std::nothrow_t& /*unused*/) noexcept {
    release(block);
}
void operator delete(void* block, std::align_val_t /*alignment*/) noexcept {
    release(block);
}
void operator delete[](void* block, std::align_val_t /*alignment*/) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    release(block);
}
void operator delete[](void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    release(block);
}
