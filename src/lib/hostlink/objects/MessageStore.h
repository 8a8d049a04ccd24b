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

/// After every change of the store. Its bytes behind `capacity` are zero and wait for the message to grow.
inline void attachStore(HostLinkLL& buffer, ByteArray& store, size_t capacity) {
    buffer.data = store.data();
    buffer.capacity = static_cast<uint32_t>(capacity);
}

/// Grows by `delta` zero bytes; a negative `delta` shrinks, at most to nothing. The message length stays.
inline void resizeStore(HostLinkLL& buffer, ByteArray& store, long delta) {
    const auto capacity = static_cast<size_t>(std::max(static_cast<long>(buffer.capacity) + delta, 0L));
    if (delta < 0 || capacity > store.size()) store.resize(capacity);
    attachStore(buffer, store, capacity);
}

/// Moves a message; the source is left empty and without a store.
inline void takeStore(HostLinkLL& buffer, ByteArray& store, HostLinkLL& fromBuffer, ByteArray& fromStore) noexcept {
    store = std::move(fromStore);
    buffer.used = fromBuffer.used;
    attachStore(buffer, store, fromBuffer.capacity);
    fromStore.clear();
    fromBuffer = {nullptr, 0, 0};
}

/// Copy of the message bytes, as far as the capacity goes.
inline ByteArray messageIn(const HostLinkLL& buffer) {
    const uint32_t held = std::min(buffer.used, buffer.capacity);
    return {buffer.data, buffer.data + held};
}

} // namespace hostlink
