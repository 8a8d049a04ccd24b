#include "StateTable.h"

#include <string.h>

#include "Host.h"

enum { isSubscribed = 1, hasChanged = 2 };
enum { byteBits = 8 };

static const StateRow* find(const StateTable* table, uint16_t id) {
    for (uint16_t i = 0; i < table->count; ++i) {
        if (table->rows[i].id == id) return &table->rows[i];
    }
    return NULL;
}

static uint8_t* markOf(const StateTable* table, const StateRow* row) {
    return &table->marks[row - table->rows];
}

/* ---- Values. Numbers are little-endian, on the line and in this processor. */

static int32_t numberAt(const uint8_t* bytes, unsigned size, uint8_t isSigned) {
    uint32_t number = isSigned && bytes[size - 1] >> (byteBits - 1) ? UINT32_MAX : 0;
    for (unsigned i = size; i-- != 0;) number = number << byteBits | bytes[i];
    return (int32_t)number;
}

/* Whichever width a number comes in, it is taken when it fits the row. */
static uint8_t readNumber(const HostLinkVariant* item, int32_t* number) {
    enum { wide = 8, word = 4 };
    if (item->encoding < ENC_Uint8 || item->encoding > ENC_Int64) return 0;
    const uint8_t isSigned = item->encoding >= ENC_Int8;
    const unsigned size = 1U << ((item->encoding - ENC_Uint8) % 4);
    const uint8_t* bytes = item->value.bytes;
    *number = numberAt(bytes, size < word ? size : word, isSigned);
    if (size < word) return 1;
    if (!isSigned && *number < 0) return 0;
    for (unsigned i = word; i < size; ++i) {
        if (bytes[i] != (*number < 0 ? UINT8_MAX : 0)) return 0;
    }
    return 1;
}

static int32_t heldNumber(const StateRow* row) {
    return numberAt(row->storage, row->size, row->encoding >= ENC_Int8);
}

static void hold(const StateTable* table, const StateRow* row, const void* bytes, uint16_t size) {
    if (memcmp(row->storage, bytes, size) == 0) return;
    memcpy(row->storage, bytes, size);
    *markOf(table, row) |= hasChanged;
}

static uint8_t addHeld(HostLinkLL* answer, const StateRow* row) {
    const uint8_t* storage = row->storage;
    const uint32_t result = row->encoding == ENC_Bin16
                                ? hostLinkMessageVariantAddBin16(answer, row->id, storage + 1, storage[0])
                                : hostLinkMessageVariantAddValue(answer, row->id, storage, row->encoding);
    return result == HOSTLINK_SUCCESS;
}

static void addHeldOrNil(const StateTable* table, HostLinkLL* answer, uint16_t id) {
    const StateRow* row = find(table, id);
    if (row != NULL) {
        addHeld(answer, row);
    } else {
        hostLinkMessageVariantAddValue(answer, id, NULL, ENC_Nil);
    }
}

/* ---- What the module sets. */

/* Whether it was taken. */
static uint8_t setNumber(const StateTable* table, const StateRow* row, const HostLinkVariant* item) {
    int32_t number;
    if (!readNumber(item, &number) || number < row->least || number > row->most) return 0;
    hold(table, row, &number, row->size);
    return 1;
}

static uint8_t setText(const StateTable* table, const StateRow* row, const HostLinkVariant* item) {
    uint8_t* storage = row->storage;
    if (item->encoding != ENC_Bin16) return 0;
    const HostLinkBin16* text = &item->value.bin16;
    if (text->firstLength >= row->size) return 0; /* its length takes a byte */
    if (storage[0] == text->firstLength && memcmp(storage + 1, text->first, text->firstLength) == 0) return 1;
    storage[0] = (uint8_t)text->firstLength;
    memcpy(storage + 1, text->first, text->firstLength);
    *markOf(table, row) |= hasChanged;
    return 1;
}

static void setItem(const StateTable* table, const HostLinkVariant* item) {
    const StateRow* row = find(table, item->tag);
    if (row == NULL || !row->isWritable) return;
    const uint8_t isSet = row->encoding == ENC_Bin16 ? setText(table, row, item) : setNumber(table, row, item);
    if (isSet && row->changed != NULL) row->changed();
}

/* A message of which one item cannot be read has no effect at all. */
static uint8_t isReadable(const HostLinkLL* request) {
    HostLinkVariantIter items;
    uint32_t result = hostLinkVariantIterator(request, &items);
    while (result == HOSTLINK_SUCCESS) result = hostLinkVariantIteratorNext(&items);
    return result == HOSTLINK_NO_MORE_ITEMS;
}

void stateSet(const StateTable* table, const HostLinkLL* request) {
    if (!isReadable(request)) {
        sendUnsupported();
        return;
    }
    HostLinkVariantIter items;
    HostLinkVariant item;
    hostLinkVariantIterator(request, &items);
    while (hostLinkVariantIteratorGetNext(&items, &item) == HOSTLINK_SUCCESS) setItem(table, &item);

    HostLinkLL* answer = hostVariantMessage(MSG_SetStateResponse);
    hostLinkVariantIterator(request, &items);
    while (hostLinkVariantIteratorGetNext(&items, &item) == HOSTLINK_SUCCESS) addHeldOrNil(table, answer, item.tag);
    hostSend();
}

/* ---- What the module asks. */

void stateGet(const StateTable* table, const HostLinkLL* request) {
    uint8_t count;
    if (hostLinkMessageUint16Verify(request, &count) != HOSTLINK_SUCCESS) {
        sendUnsupported();
        return;
    }
    HostLinkLL* answer = hostVariantMessage(MSG_GetStateResponse);
    for (uint8_t i = 0; i < count; ++i) addHeldOrNil(table, answer, hostLinkMessageUint16Get(request, i));
    if (hostLinkMessageVariantItemsCount(answer) == count) {
        hostSend();
    } else {
        sendUnsupported(); /* no room for so many at a time */
    }
}

static void mark(const StateTable* table, const HostLinkLL* request, uint16_t answerId, uint8_t subscribed) {
    uint8_t count;
    if (hostLinkMessageUint16Verify(request, &count) != HOSTLINK_SUCCESS) {
        sendUnsupported();
        return;
    }
    HostLinkLL* answer = hostListMessage(answerId);
    for (uint8_t i = 0; i < count; ++i) {
        const uint16_t id = hostLinkMessageUint16Get(request, i);
        const StateRow* row = find(table, id);
        if (row != NULL) *markOf(table, row) = subscribed;
        hostLinkMessageUint16AddItem(answer, id);
    }
    hostSend();
}

/* What changed before it was asked about is not told. */
void stateSubscribe(const StateTable* table, const HostLinkLL* request) {
    mark(table, request, MSG_SubscribeStateResponse, isSubscribed);
}

void stateUnsubscribe(const StateTable* table, const HostLinkLL* request) {
    mark(table, request, MSG_UnsubscribeStateResponse, 0);
}

void stateUnsubscribeAll(const StateTable* table) {
    memset(table->marks, 0, table->count);
}

/* ---- What changes. */

void stateTell(const StateTable* table, uint16_t id, int32_t number) {
    const StateRow* row = find(table, id);
    if (row != NULL && heldNumber(row) != number) hold(table, row, &number, row->size);
}

static uint8_t isToBeTold(uint8_t mark) {
    return mark == (isSubscribed | hasChanged);
}

/* What one message has no room for stays marked, for the next. */
void stateSendChanges(const StateTable* table) {
    HostLinkLL* changes = NULL;
    for (uint16_t i = 0; i < table->count; ++i) {
        if (isToBeTold(table->marks[i])) {
            if (changes == NULL) changes = hostVariantMessage(MSG_StateChanged);
            if (!addHeld(changes, &table->rows[i])) break;
        }
        table->marks[i] &= isSubscribed;
    }
    if (changes != NULL) hostSend();
}

void sendUnsupported(void) {
    hostVariantMessage(MSG_UnsupportedMessageResponse);
    hostSend();
}
