#include <string.h>

#include "MessageHeader.h"

namespace {

static_assert(sizeof valueLengths / sizeof valueLengths[0] == lastEncoding - firstEncoding + 1);

int32_t fixedLengthOf(int encoding) {
    return encoding < firstEncoding || encoding > lastEncoding ? -1 : valueLengths[encoding - firstEncoding];
}

// A copy of 0, 1, 2, 4 or 8 bytes without a call. No switch: its jump table takes a helper on a Cortex-M0.
void copyValue(uint8_t* to, const void* from, int32_t length) {
    if (length == 1) memcpy(to, from, 1);
    if (length == 2) memcpy(to, from, 2);
    if (length == 4) memcpy(to, from, 4);
    if (length == 8) memcpy(to, from, 8);
}

uint8_t* writeItemHeader(HostLinkLL* buffer, uint16_t tag, uint8_t encoding) {
    uint8_t* item = buffer->data + buffer->used;
    store16le(item, tag);
    item[2] = encoding;
    return item + variantHeaderSize;
}

uint32_t takeCount(const HostLinkLL* buffer) {
    uint8_t* count = countOf(buffer);
    if (count == nullptr) return HOSTLINK_NO_STORAGE;
    if (*count == maxItems) return HOSTLINK_ITEM_COUNT_FULL;
    ++*count;
    return HOSTLINK_SUCCESS;
}

uint32_t prepare(const HostLinkLL* buffer, HostLinkVariantIter* iterator) {
    uint16_t size;
    uint8_t count;
    const uint32_t code = verifyMessage(buffer, Body::Variant, &size, &count);
    if (code != HOSTLINK_SUCCESS) return code;
    iterator->message = buffer;
    iterator->size = size;
    iterator->position = itemsAt;
    iterator->count = count;
    iterator->index = 0;
    return HOSTLINK_SUCCESS;
}

/// Reads the item that starts at `iterator->position`, of which `left` bytes are there, and tells its length.
uint32_t readItem(const HostLinkVariantIter* iterator, uint32_t left, HostLinkVariant* item, uint32_t* itemLength) {
    const uint8_t* bytes = iterator->message->data + iterator->position;
    const uint8_t encoding = bytes[2];
    if (item != nullptr) {
        item->tag = load16le(bytes);
        item->encoding = encoding;
    }
    const uint8_t* value = bytes + variantHeaderSize;
    if (encoding == ENC_Bin16) {
        if (left < variantHeaderSize + bin16LengthSize) return HOSTLINK_TRUNCATED;
        const uint16_t length = load16le(value);
        *itemLength = uint32_t{variantHeaderSize} + bin16LengthSize + length;
        if (left < *itemLength) return HOSTLINK_TRUNCATED;
        if (item != nullptr) item->value.bin16 = {value + bin16LengthSize, nullptr, length, 0};
        return HOSTLINK_SUCCESS;
    }
    const int32_t length = fixedLengthOf(encoding);
    if (length < 0) return HOSTLINK_BAD_ENCODING;
    *itemLength = variantHeaderSize + static_cast<uint32_t>(length);
    if (left < *itemLength) return HOSTLINK_TRUNCATED;
    if (item == nullptr) return HOSTLINK_SUCCESS;
    // What follows the value's own bytes is undefined: eight at once where the message goes on that far.
    if (left >= variantHeaderSize + sizeof item->value.bytes) {
        memcpy(item->value.bytes, value, sizeof item->value.bytes);
    } else {
        copyValue(item->value.bytes, value, length);
    }
    return HOSTLINK_SUCCESS;
}

uint32_t getNext(HostLinkVariantIter* iterator, HostLinkVariant* item) {
    if (!isInitialized(iterator->message)) return HOSTLINK_NOT_INITIALIZED;
    if (iterator->index >= iterator->count) {
        return iterator->index == iterator->count ? HOSTLINK_NO_MORE_ITEMS : HOSTLINK_TRUNCATED;
    }
    if (iterator->size < iterator->position + variantHeaderSize) return HOSTLINK_TRUNCATED;
    uint32_t length;
    const uint32_t left = uint32_t{iterator->size} - iterator->position;
    const uint32_t code = readItem(iterator, left, item, &length);
    if (code != HOSTLINK_SUCCESS) return code;
    iterator->position = static_cast<uint16_t>(iterator->position + length);
    ++iterator->index;
    return HOSTLINK_SUCCESS;
}

} // namespace

uint32_t hostLinkMessageVariantInit(HostLinkLL* buffer, uint16_t id) {
    return initMessage(buffer, id, Body::Variant);
}

uint32_t hostLinkMessageVariantVerify(const HostLinkLL* buffer, uint16_t* size, uint8_t* count) {
    return verifyMessage(buffer, Body::Variant, size, count);
}

uint32_t hostLinkMessageVariantAddValue(HostLinkLL* buffer, uint16_t tag, const void* value, int encoding) {
    if (!isInitialized(buffer)) return HOSTLINK_NOT_INITIALIZED;
    const int32_t length = fixedLengthOf(encoding);
    if (length < 0) return HOSTLINK_BAD_ENCODING;
    if (length + variantHeaderSize > spaceIn(buffer)) return HOSTLINK_NO_ROOM;
    const uint32_t code = takeCount(buffer);
    if (code != HOSTLINK_SUCCESS) return code;
    copyValue(writeItemHeader(buffer, tag, static_cast<uint8_t>(encoding)), value, length);
    buffer->used += static_cast<uint32_t>(length + variantHeaderSize);
    return HOSTLINK_SUCCESS;
}

uint32_t hostLinkMessageVariantAddBin16(HostLinkLL* buffer, uint16_t tag, const uint8_t* bytes, uint16_t length) {
    if (!isInitialized(buffer)) return HOSTLINK_NOT_INITIALIZED;
    const uint32_t itemLength = uint32_t{length} + variantHeaderSize + bin16LengthSize;
    if (itemLength > spaceIn(buffer)) return HOSTLINK_NO_ROOM;
    const uint32_t code = takeCount(buffer);
    if (code != HOSTLINK_SUCCESS) return code;
    uint8_t* value = writeItemHeader(buffer, tag, ENC_Bin16);
    store16le(value, length);
    if (length != 0) memcpy(value + bin16LengthSize, bytes, length);
    buffer->used += itemLength;
    return HOSTLINK_SUCCESS;
}

uint8_t hostLinkMessageVariantItemsCount(const HostLinkLL* buffer) {
    return itemsCount(buffer);
}

uint32_t hostLinkVariantIterator(const HostLinkLL* buffer, HostLinkVariantIter* iterator) {
    return prepare(buffer, iterator);
}

uint32_t hostLinkVariantIteratorGetNext(HostLinkVariantIter* iterator, HostLinkVariant* item) {
    return getNext(iterator, item);
}

uint32_t hostLinkVariantIteratorNext(HostLinkVariantIter* iterator) {
    return getNext(iterator, nullptr);
}

uint32_t hostLinkVariantIteratorGetValue(HostLinkVariantIter* iterator, HostLinkVariant* item) {
    const uint16_t position = iterator->position;
    const uint32_t code = getNext(iterator, item);
    if (code != HOSTLINK_SUCCESS) return code;
    iterator->position = position;
    --iterator->index;
    return HOSTLINK_SUCCESS;
}

uint32_t hostLinkMessageVariantGetItem(const HostLinkLL* buffer, uint8_t index, HostLinkVariant* item) {
    HostLinkVariantIter iterator;
    uint32_t code = prepare(buffer, &iterator);
    if (code != HOSTLINK_SUCCESS) return code;
    if (index >= iterator.count) return HOSTLINK_TRUNCATED;
    for (uint8_t i = 0; i < index; ++i) {
        code = getNext(&iterator, nullptr);
        if (code != HOSTLINK_SUCCESS) return code;
    }
    return getNext(&iterator, item);
}

uint8_t hostLinkBin16Get(const HostLinkBin16* view, uint8_t index) {
    if (index < view->firstLength) return view->first[index];
    const uint32_t inSecond = uint32_t{index} - view->firstLength;
    return inSecond < view->secondLength ? view->second[inSecond] : uint8_t{0};
}

uint16_t hostLinkBin16Copy(const HostLinkBin16* view, uint8_t* destination, uint16_t offset, uint16_t maximum) {
    const uint32_t total = uint32_t{view->firstLength} + view->secondLength;
    if (offset >= total) return 0;
    const uint32_t left = total - offset;
    const uint32_t count = left < maximum ? left : maximum;
    uint32_t fromFirst = 0;
    if (offset < view->firstLength) {
        const uint32_t firstLeft = uint32_t{view->firstLength} - offset;
        fromFirst = count < firstLeft ? count : firstLeft;
    }
    if (fromFirst != 0) memcpy(destination, view->first + offset, fromFirst);
    const uint32_t secondOffset = offset + fromFirst - view->firstLength;
    if (count > fromFirst) memcpy(destination + fromFirst, view->second + secondOffset, count - fromFirst);
    return static_cast<uint16_t>(count);
}
