/// @file
/// Where a message or a frame keeps its bytes: a few in the object itself, more in a store. The pointer that the core
/// is given tells which: at the few, or else at the store's. Not for programs: the public classes name only the
/// members.
///
/// `used` counts the bytes that were written. Those of them behind the capacity, which a smaller capacity left outside,
/// are zero; what lies behind both is zero in the store and undefined in the few.
///
/// Three pairs of asking for memory and giving it back fewer: 10 in 100 instructions of a small message's whole way.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "hostlink/ByteArray.h"

namespace hostlink {

/// Makes a larger capacity; at least `least` bytes where memory is asked for. Returns where the bytes are now. When
/// there is no memory nothing has changed.
template <size_t size>
unsigned char* grown(const unsigned char* data, size_t used, size_t capacity, size_t least, ByteArray& store,
                     unsigned char (&few)[size]) {
    if (data == few) {
        if (capacity <= size) return few;
        ByteArray larger(std::max(capacity, least));
        std::memcpy(larger.data(), few, used);
        store = std::move(larger);
    } else if (capacity > store.size()) {
        store.resize(std::max(capacity, least));
    }
    return store.data();
}

/// Makes a smaller capacity; the bytes stay where they are.
template <size_t size>
void shrink(const unsigned char* data, size_t used, size_t capacity, ByteArray& store, unsigned char (&few)[size]) {
    if (data != few) {
        store.resize(capacity);
    } else if (used > capacity) {
        std::memset(few + capacity, 0, used - capacity);
    }
}

/// The pointer of a copy; the copy's store is one already.
template <size_t size>
unsigned char* copied(const unsigned char* from, size_t used, const unsigned char (&fromFew)[size], ByteArray& store,
                      unsigned char (&few)[size]) {
    if (from != fromFew) return store.data();
    std::memcpy(few, fromFew, used);
    return few;
}

/// The pointer of one that takes over the bytes of another, whose store is left empty.
template <size_t size>
unsigned char* taken(const unsigned char* from, size_t used, ByteArray& fromStore, const unsigned char (&fromFew)[size],
                     ByteArray& store, unsigned char (&few)[size]) noexcept {
    store = std::move(fromStore);
    fromStore.clear();
    return copied(from, used, fromFew, store, few);
}

} // namespace hostlink
