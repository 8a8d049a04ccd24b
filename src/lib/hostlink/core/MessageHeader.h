/// @file
/// The header of a message: written, verified and counted in the same way for both kinds of body.
#pragma once

#include "MessageLayout.h"

static inline uint32_t initMessage(HostLinkLL* buffer, uint16_t id, Body body) {
    const uint32_t code = checkId(id, body);
    if (unlikely(code != HOSTLINK_SUCCESS)) return code;
    if (buffer->capacity < buffer->used || buffer->capacity - buffer->used < messageHeaderSize) return HOSTLINK_NO_ROOM;
    uint8_t* header = buffer->data + buffer->used;
    store16le(header + messageIdAt, id);
    header[itemCountAt] = 0;
    buffer->used += messageHeaderSize;
    return HOSTLINK_SUCCESS;
}

static inline uint32_t verifyMessage(const HostLinkLL* buffer, Body expected, uint16_t* size, uint8_t* count) {
    if (unlikely(!isInitialized(buffer))) return HOSTLINK_NOT_INITIALIZED;
    const uint16_t held = readableSize(buffer);
    if (unlikely(held < messageHeaderSize)) return HOSTLINK_TOO_SHORT;
    if (size != nullptr) *size = held;
    const uint32_t code = checkId(load16le(buffer->data + messageIdAt), expected);
    if (unlikely(code != HOSTLINK_SUCCESS)) return code;
    const uint8_t items = buffer->data[itemCountAt];
    if (count != nullptr) *count = items;
    // Exact for a list. For variants a lower bound: the iterator checks the values.
    const uint32_t itemSize = expected == Body::List ? listItemSize : variantHeaderSize;
    if (unlikely(messageHeaderSize + itemSize * items > held)) return HOSTLINK_TRUNCATED;
    return HOSTLINK_SUCCESS;
}

/// The count is a byte at a fixed place: a length that is no longer told in 16 bits does not hide it.
static inline uint8_t itemsCount(const HostLinkLL* buffer) {
    const uint8_t* count = countOf(buffer);
    return isInitialized(buffer) && count != nullptr && buffer->capacity > itemCountAt ? *count : uint8_t{0};
}
