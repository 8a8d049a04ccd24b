/// @file
/// The growable bytes behind a message object, which has a `HostLinkLL` pointed at them. Not for programs: the public
/// classes name only the two members.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>

#include "hostlink/ByteArray.h"
#include "hostlink/HostLinkLib.h"

namespace hostlink {

/// After every change of the store: the buffer follows it. The message length stays.
inline void attachStore(HostLinkLL& buffer, ByteArray& store) {
    buffer.data = store.data();
    buffer.capacity = static_cast<uint32_t>(store.size());
}

/// Grows by `delta` zero bytes; a negative `delta` shrinks, at most to nothing.
inline void resizeStore(HostLinkLL& buffer, ByteArray& store, long delta) {
    const long size = static_cast<long>(store.size()) + delta;
    store.resize(static_cast<size_t>(std::max(size, 0L)));
    attachStore(buffer, store);
}

/// Moves a message; the source is left empty and without a store.
inline void takeStore(HostLinkLL& buffer, ByteArray& store, HostLinkLL& fromBuffer, ByteArray& fromStore) noexcept {
    store = std::move(fromStore);
    buffer.used = fromBuffer.used;
    attachStore(buffer, store);
    fromStore.clear();
    fromBuffer = {nullptr, 0, 0};
}

/// Copy of the message bytes, as far as the store holds them.
inline ByteArray messageIn(const HostLinkLL& buffer, const ByteArray& store) {
    const size_t held = std::min<size_t>(buffer.used, store.size());
    return {store.begin(), store.begin() + static_cast<std::ptrdiff_t>(held)};
}

} // namespace hostlink
