/// @file
/// Where the fields of a message stand, in wire order, and what its id says about its body.
///
///      0            2       3
///     +------------+-------+-----------
///     | message id | count | items ...
///     +------------+-------+-----------
///
/// List item: u16. Variant item: u16 tag, u8 encoding, value.
#pragma once

#include "../HostLinkLib.h"
#include "ByteOrder.h"
#include "Likely.h"
#include "WireNumbers.h"

constexpr uint8_t messageIdAt = 0;
constexpr uint8_t itemCountAt = 2;
constexpr uint8_t itemsAt = 3;
constexpr uint8_t encodingAt = 2; ///< in a variant item, behind the tag

constexpr uint8_t messageHeaderSize = 3;
constexpr uint8_t listItemSize = 2;
constexpr uint8_t variantHeaderSize = 3; ///< tag and encoding
constexpr uint8_t bin16LengthSize = 2;

constexpr uint8_t maxItems = 255;

enum class Body : uint8_t { List, Variant };

/// The low five bits of the id pick a bit of the mask of its half, so ids 32 to 63 take the kind of id − 32.
static inline Body bodyOf(uint16_t id) {
    const uint32_t lists = (id & responseBit) != 0 ? responseLists : requestLists;
    return (lists >> (id & 31) & 1) != 0 ? Body::List : Body::Variant;
}

static inline uint32_t checkId(uint16_t id, Body expected) {
    if (unlikely((id & ~responseBit) > maxMessageNumber)) return HOSTLINK_MESSAGE_ID_OUT_OF_RANGE;
    if (unlikely(bodyOf(id) != expected)) return HOSTLINK_MESSAGE_ID_WRONG_KIND;
    return HOSTLINK_SUCCESS;
}

static inline bool isInitialized(const HostLinkLL* buffer) {
    return buffer->used >= messageHeaderSize;
}

/// Message bytes that may be read: the length (16 bits), but never more than the storage.
static inline uint16_t readableSize(const HostLinkLL* buffer) {
    const uint16_t size = static_cast<uint16_t>(buffer->used);
    return size < buffer->capacity ? size : static_cast<uint16_t>(buffer->capacity);
}

static inline uint8_t* countOf(const HostLinkLL* buffer) {
    return buffer->data != nullptr ? buffer->data + itemCountAt : nullptr;
}

static inline uint16_t spaceIn(const HostLinkLL* buffer) {
    return !unlikely(buffer->capacity < buffer->used) ? static_cast<uint16_t>(buffer->capacity - buffer->used) : 0;
}
