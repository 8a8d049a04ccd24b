/// @file
/// What only a link sees of its wire, counted for whoever wants to know.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "HostLinkExport.h"

/// What a link counts. New ones come at the end.
enum class LinkCounter : unsigned char {
    GarbageBytes, ///< bytes that stood outside packets and were dropped; serial links
    BadPackets,   ///< packets of the host, and answers to an IRQ frame, that were damaged; they are refused
    OtherPackets, ///< packets of the host, whole, that are none that a host sends by itself
    Edges,        ///< of the interrupt line; bus links, as the next two
    Exchanges,    ///< IRQ frames sent
    Rereads       ///< reads that were made again because the host was not ready
};

/// How often each has happened. It belongs to whoever counts and outlives the links that count into it; several may.
/// Any thread; takes no lock.
class LinkCounts {
public:
    static constexpr std::size_t size = 6;

    void add(LinkCounter what, uint64_t times = 1) {
        const auto index = static_cast<std::size_t>(what);
        if (index < known) counts[index].fetch_add(times, std::memory_order_relaxed);
        if (told != nullptr) told(context, what, times);
    }
    uint64_t of(LinkCounter what) const {
        const auto index = static_cast<std::size_t>(what);
        return index < known ? counts[index].load(std::memory_order_relaxed) : 0;
    }

    using Told = void (*)(void* context, LinkCounter what, uint64_t times);
    /// Has `function` be told of whatever is counted from now on, on the thread that counts: must be quick, and must
    /// not throw. Before anything counts into this.
    void tell(Told function, void* with) {
        told = function;
        context = with;
    }

private:
    const std::size_t known = size; // a link may be newer than the object that it counts into
    Told told = nullptr;
    void* context = nullptr;
    std::atomic<uint64_t> counts[size]{};
};

/// A link that counts: `dynamic_cast<CountingLink*>(link)` finds it, null for one that does not.
class HOSTLINK_EXPORT CountingLink {
public:
    /// From now on counts into this, which must live longer than the link. Before `init()`.
    virtual void countInto(LinkCounts& counts) = 0;

protected:
    ~CountingLink() = default;
};
