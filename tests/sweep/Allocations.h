/// @file
/// Memory that runs out at a chosen allocation.
#pragma once

#include <cstddef>
#include <functional>

namespace sweep {

/// Watches the `operator new` and `operator delete` of the calling thread while it lives, and makes one allocation fail
/// with std::bad_alloc. One at a time for each thread; allocations of other threads go untouched.
class Allocations {
public:
    /// @param failing the allocation that fails, from 1; 0: none
    explicit Allocations(std::size_t failing = 0);
    ~Allocations();
    Allocations(const Allocations&) = delete;
    Allocations& operator=(const Allocations&) = delete;

    /// Allocations so far, the failed one included.
    std::size_t count() const;
    /// Whether the chosen one has been reached.
    bool failed() const;
    /// Allocated and not given back so far; negative when memory from before was given back.
    long live() const;
};

/// Has the calling thread do something of the test's within its next allocation. Once.
void withinNextAllocation(std::function<void()> action);

/// Takes the calling thread's allocations out of the watch while it lives: for the test's own.
class UnwatchedAllocations {
public:
    UnwatchedAllocations();
    ~UnwatchedAllocations();
    UnwatchedAllocations(const UnwatchedAllocations&) = delete;
    UnwatchedAllocations& operator=(const UnwatchedAllocations&) = delete;

private:
    const bool before;
};

} // namespace sweep
