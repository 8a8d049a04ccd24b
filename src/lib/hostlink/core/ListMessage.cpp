#include <stddef.h>

#include "CoreAssert.h"
#include "MessageHeader.h"

uint32_t hostLinkMessageUint16Init(HostLinkLL* buffer, uint16_t id) {
    return initMessage(buffer, id, Body::List);
}

uint32_t hostLinkMessageUint16Verify(const HostLinkLL* buffer, uint8_t* count) {
    return verifyMessage(buffer, Body::List, nullptr, count);
}

uint32_t hostLinkMessageUint16AddItem(HostLinkLL* self, uint16_t value) {
    HOSTLINK_ASSERT(self);
    if (!isInitialized(self)) return HOSTLINK_NOT_INITIALIZED;
    uint8_t* count = countOf(self);
    if (count == nullptr) return HOSTLINK_NO_STORAGE;
    if (self->capacity <= itemCountAt) return HOSTLINK_NO_ROOM;
    if (*count == maxItems) return HOSTLINK_ITEM_COUNT_FULL;
    if (spaceIn(self) < listItemSize) return HOSTLINK_NO_ROOM;
    store16le(self->data + self->used, value);
    self->used += listItemSize;
    ++*count;
    return HOSTLINK_SUCCESS;
}

uint8_t hostLinkMessageUint16ItemsCount(const HostLinkLL* buffer) {
    return itemsCount(buffer);
}

uint16_t hostLinkMessageUint16Get(const HostLinkLL* buffer, uint8_t index) {
    const uint32_t at = itemsAt + uint32_t{index} * listItemSize;
    return at + listItemSize <= buffer->capacity ? load16le(buffer->data + at) : uint16_t{0};
}

uint32_t hostLinkMessageUint16GetItem(const HostLinkLL* buffer, uint8_t index, uint16_t* value) {
    uint8_t count;
    const uint32_t code = verifyMessage(buffer, Body::List, nullptr, &count);
    if (code != HOSTLINK_SUCCESS) return code;
    if (index >= count) return HOSTLINK_TRUNCATED;
    *value = load16le(buffer->data + itemsAt + size_t{index} * listItemSize);
    return HOSTLINK_SUCCESS;
}
