#include <string.h>

#include "Copy.h"
#include "MessageHeader.h"
#include "Opaque.h"

namespace {

constexpr int32_t largestItem = variantHeaderSize + sizeof HostLinkVariant{}.value.bytes;

/// The encodings of numbers stand one behind the other, unsigned and signed ones of the same four lengths.
constexpr uint32_t numbers = ENC_Int64 - ENC_Uint8 + 1;

/// Bytes of a whole item of each of them.
struct NumberLengths {
    uint8_t of[numbers];
};

constexpr NumberLengths numberLengths = [] {
    NumberLengths lengths{};
    for (uint32_t i = 0; i < numbers; ++i) {
        lengths.of[i] = static_cast<uint8_t>(variantHeaderSize + valueLengths[ENC_Uint8 - firstEncoding + i]);
    }
    return lengths;
}();

static_assert(numbers == 8 && ENC_Int8 - ENC_Uint8 == 4);
static_assert(numberLengths.of[0] == numberLengths.of[4] && numberLengths.of[3] == numberLengths.of[7]);
static_assert(numberLengths.of[3] == largestItem);

/// Beside the numbers only Nil has a fixed length: of its header.
constexpr bool nilAlone = [] {
    for (int i = firstEncoding; i <= lastEncoding; ++i) {
        const bool isNumber = i >= ENC_Uint8 && i <= ENC_Int64;
        if (!isNumber && valueLengths[i - firstEncoding] != (i == ENC_Nil ? 0 : -1)) return false;
    }
    return true;
}();
static_assert(nilAlone);

/// Copies the number of an item of `itemLength` bytes without a call: both of its ends, which for the smaller two of
/// each kind are the same.
void copyNumber(uint8_t* to, const uint8_t* from, uint32_t itemLength) {
    uint8_t* end = to + itemLength - variantHeaderSize;
    const uint8_t* fromEnd = from + itemLength - variantHeaderSize;
    if (itemLength >= variantHeaderSize + 4) {
        memcpy(to, from, 4);
        memcpy(end - 4, fromEnd - 4, 4);
    } else {
        to[0] = from[0];
        end[-1] = fromEnd[-1];
    }
}

/// Whether an item of `length` bytes may be appended.
uint32_t checkPlace(const HostLinkLL* buffer, uint32_t length) {
    if (unlikely(buffer->capacity < buffer->used)) return HOSTLINK_NO_ROOM;
    if (unlikely(static_cast<uint16_t>(buffer->capacity - buffer->used) < length)) return HOSTLINK_NO_ROOM;
    const uint8_t* count = countOf(buffer);
    if (unlikely(count == nullptr)) return HOSTLINK_NO_STORAGE;
    if (unlikely(*count == maxItems)) return HOSTLINK_ITEM_COUNT_FULL;
    return HOSTLINK_SUCCESS;
}

/// Counts an item of `length` bytes and writes what all items begin with; where its value goes.
uint8_t* beginItem(HostLinkLL* buffer, uint16_t tag, uint8_t encoding, uint32_t length) {
    uint8_t* item = buffer->data + buffer->used;
    buffer->used += length;
    ++*countOf(buffer);
    store16le(item, tag);
    item[encodingAt] = encoding;
    return item + variantHeaderSize;
}

[[gnu::noinline]] uint32_t addNil(HostLinkLL* buffer, uint16_t tag) {
    const uint32_t code = checkPlace(buffer, variantHeaderSize);
    if (code == HOSTLINK_SUCCESS) beginItem(buffer, tag, ENC_Nil, variantHeaderSize);
    return code;
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

/// Whether there is an item to read at all.
uint32_t checkNext(const HostLinkVariantIter* iterator) {
    if (unlikely(!isInitialized(iterator->message))) return HOSTLINK_NOT_INITIALIZED;
    if (unlikely(iterator->index >= iterator->count)) {
        return iterator->index == iterator->count ? HOSTLINK_NO_MORE_ITEMS : HOSTLINK_TRUNCATED;
    }
    return HOSTLINK_SUCCESS;
}

/// Where the item behind that of a number at `position` stands; `kind` is its encoding, 0 for the first number. A jump
/// for each length, none of which the compiler is to turn into a sum: a processor that foresees the jumps need not wait
/// for one item's encoding to know where the next one's is (255 items by index: 27 times the iterator's time, not 71).
size_t behindNumber(size_t position, uint32_t kind) {
    switch (kind & 3) {
    case 0: return opaque(position + numberLengths.of[0]);
    case 1: return opaque(position + numberLengths.of[1]);
    case 2: return opaque(position + numberLengths.of[2]);
    default: return opaque(position + numberLengths.of[3]);
    }
}

/// Skips `count` items, which the message must declare.
uint32_t skip(HostLinkVariantIter* iterator, uint32_t count) {
    const uint8_t* data = iterator->message->data;
    const size_t size = iterator->size;
    size_t position = iterator->position;
    for (uint32_t i = 0; i < count; ++i) {
        if (unlikely(size < position + variantHeaderSize)) return HOSTLINK_TRUNCATED;
        const uint8_t encoding = data[position + encodingAt];
        const uint32_t kind = static_cast<uint32_t>(encoding) - ENC_Uint8;
        if (kind < numbers) {
            position = behindNumber(position, kind);
        } else if (encoding == ENC_Bin16) {
            if (unlikely(size < position + variantHeaderSize + bin16LengthSize)) return HOSTLINK_TRUNCATED;
            position += size_t{variantHeaderSize} + bin16LengthSize + load16le(data + position + variantHeaderSize);
        } else {
            if (unlikely(encoding != ENC_Nil)) return HOSTLINK_BAD_ENCODING;
            position += variantHeaderSize;
        }
    }
    if (unlikely(size < position)) return HOSTLINK_TRUNCATED;
    iterator->position = static_cast<uint16_t>(position);
    iterator->index = static_cast<uint8_t>(iterator->index + count);
    return HOSTLINK_SUCCESS;
}

/// Whether items of `length` bytes have this encoding, of which the first stands at `at`.
bool twoAre(uint8_t encoding, const uint8_t* at, size_t length) {
    return at[0] == encoding && at[length] == encoding;
}

bool fourAre(uint8_t encoding, const uint8_t* at, size_t length) {
    return twoAre(encoding, at, length) && twoAre(encoding, at + 2 * length, length);
}

bool eightAre(uint8_t encoding, const uint8_t* at, size_t length) {
    return fourAre(encoding, at, length) && fourAre(encoding, at + 4 * length, length);
}

/// Skips items from the first, at most `count`: eights of numbers of one encoding, which a long message mostly holds
/// (255 items of one kind by index: 5 times the iterator's time, not 38). Stops before any other item.
void skipAlike(HostLinkVariantIter* iterator, uint32_t count) {
    constexpr uint32_t step = 8;
    if (count < step) return;
    // There is a first item: the header's check has seen to that.
    const uint8_t* at = iterator->message->data + itemsAt + encodingAt;
    size_t left = static_cast<size_t>(iterator->size) - itemsAt;
    const uint8_t encoding = *at;
    const uint32_t kind = static_cast<uint32_t>(encoding) - ENC_Uint8;
    if (kind >= numbers) return;
    const size_t length = numberLengths.of[kind];
    uint32_t skipped = 0;
    while (skipped + step <= count && left >= step * length && eightAre(encoding, at, length)) {
        at += step * length;
        left -= step * length;
        skipped += step;
    }
    iterator->position = static_cast<uint16_t>(itemsAt + skipped * length);
    iterator->index = static_cast<uint8_t>(skipped);
}

/// Reads the next item of a message that goes on for `left` bytes. Not near its end, where the largest number would be
/// within it, what a number asks for is there.
template <bool nearEnd> inline uint32_t readNext(HostLinkVariantIter* iterator, HostLinkVariant* item, int32_t left) {
    if (nearEnd && left < variantHeaderSize) return HOSTLINK_TRUNCATED;
    const uint8_t* bytes = iterator->message->data + iterator->position;
    const uint8_t* value = bytes + variantHeaderSize;
    const uint8_t encoding = bytes[encodingAt];
    item->tag = load16le(bytes);
    item->encoding = encoding;
    const uint32_t kind = static_cast<uint32_t>(encoding) - ENC_Uint8;
    int32_t length;
    if (kind < numbers) {
        length = numberLengths.of[kind];
        if (nearEnd) {
            if (left < length) return HOSTLINK_TRUNCATED;
            copyNumber(item->value.bytes, value, static_cast<uint32_t>(length));
        } else {
            memcpy(item->value.bytes, value, sizeof item->value.bytes); // what is not the number's own is undefined
        }
    } else if (encoding == ENC_Bin16) {
        if (nearEnd && left < variantHeaderSize + bin16LengthSize) return HOSTLINK_TRUNCATED;
        const uint16_t valueLength = load16le(value);
        length = variantHeaderSize + bin16LengthSize + valueLength;
        if (unlikely(left < length)) return HOSTLINK_TRUNCATED;
        item->value.bin16 = {value + bin16LengthSize, nullptr, valueLength, 0};
    } else {
        if (unlikely(encoding != ENC_Nil)) return HOSTLINK_BAD_ENCODING;
        length = variantHeaderSize;
    }
    iterator->position = static_cast<uint16_t>(iterator->position + length);
    ++iterator->index;
    return HOSTLINK_SUCCESS;
}

[[gnu::noinline]] uint32_t readNearEnd(HostLinkVariantIter* iterator, HostLinkVariant* item, int32_t left) {
    return readNext<true>(iterator, item, left);
}

uint32_t getNext(HostLinkVariantIter* iterator, HostLinkVariant* item) {
    const uint32_t code = checkNext(iterator);
    if (unlikely(code != HOSTLINK_SUCCESS)) return code;
    const int32_t left = iterator->size - int32_t{iterator->position};
    return unlikely(left < largestItem) ? readNearEnd(iterator, item, left) : readNext<false>(iterator, item, left);
}

uint32_t skipNext(HostLinkVariantIter* iterator) {
    const uint32_t code = checkNext(iterator);
    return code == HOSTLINK_SUCCESS ? skip(iterator, 1) : code;
}

/// Copies bytes of which some or all are in the second piece. Apart, so that a copy from the first alone, as all that
/// the core's own views are, does not save the registers that this one needs.
[[gnu::noinline]] uint16_t copyAcross(const HostLinkBin16* view, uint8_t* destination, uint32_t offset,
                                      uint32_t count) {
    const uint32_t fromFirst = offset < view->firstLength ? view->firstLength - offset : 0;
    if (fromFirst != 0) memcpy(destination, view->first + offset, fromFirst);
    memcpy(destination + fromFirst, view->second + (offset + fromFirst - view->firstLength), count - fromFirst);
    return static_cast<uint16_t>(count);
}

} // namespace

uint32_t hostLinkMessageVariantInit(HostLinkLL* buffer, uint16_t id) {
    return initMessage(buffer, id, Body::Variant);
}

uint32_t hostLinkMessageVariantVerify(const HostLinkLL* buffer, uint16_t* size, uint8_t* count) {
    return verifyMessage(buffer, Body::Variant, size, count);
}

uint32_t hostLinkMessageVariantAddValue(HostLinkLL* buffer, uint16_t tag, const void* value, int encoding) {
    if (unlikely(!isInitialized(buffer))) return HOSTLINK_NOT_INITIALIZED;
    const uint32_t kind = static_cast<uint32_t>(encoding) - ENC_Uint8;
    if (unlikely(kind >= numbers)) return encoding == ENC_Nil ? addNil(buffer, tag) : uint32_t{HOSTLINK_BAD_ENCODING};
    const uint32_t length = numberLengths.of[kind];
    const uint32_t code = checkPlace(buffer, length);
    if (unlikely(code != HOSTLINK_SUCCESS)) return code;
    uint8_t* to = beginItem(buffer, tag, static_cast<uint8_t>(encoding), length);
    copyNumber(to, static_cast<const uint8_t*>(value), length);
    return HOSTLINK_SUCCESS;
}

uint32_t hostLinkMessageVariantAddBin16(HostLinkLL* buffer, uint16_t tag, const uint8_t* bytes, uint16_t length) {
    if (unlikely(!isInitialized(buffer))) return HOSTLINK_NOT_INITIALIZED;
    const uint32_t itemLength = uint32_t{length} + variantHeaderSize + bin16LengthSize;
    const uint32_t code = checkPlace(buffer, itemLength);
    if (unlikely(code != HOSTLINK_SUCCESS)) return code;
    uint8_t* value = beginItem(buffer, tag, ENC_Bin16, itemLength);
    store16le(value, length);
    copyBytes(value + bin16LengthSize, bytes, length);
    return HOSTLINK_SUCCESS;
}

uint8_t hostLinkMessageVariantItemsCount(const HostLinkLL* buffer) {
    return itemsCount(buffer);
}

uint32_t hostLinkVariantIterator(const HostLinkLL* buffer, HostLinkVariantIter* iterator) {
    return prepare(buffer, iterator);
}

uint32_t hostLinkVariantIteratorGetNext(HostLinkVariantIter* iterator, HostLinkVariant* item) {
    return unlikely(item == nullptr) ? skipNext(iterator) : getNext(iterator, item);
}

uint32_t hostLinkVariantIteratorNext(HostLinkVariantIter* iterator) {
    return skipNext(iterator);
}

uint32_t hostLinkVariantIteratorGetValue(HostLinkVariantIter* iterator, HostLinkVariant* item) {
    const uint16_t position = iterator->position;
    const uint32_t code = hostLinkVariantIteratorGetNext(iterator, item);
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
    skipAlike(&iterator, index);
    code = skip(&iterator, uint32_t{index} - iterator.index);
    return code == HOSTLINK_SUCCESS ? hostLinkVariantIteratorGetNext(&iterator, item) : code;
}

uint8_t hostLinkBin16Get(const HostLinkBin16* view, uint8_t index) {
    if (index < view->firstLength) return view->first[index];
    const uint32_t inSecond = uint32_t{index} - view->firstLength;
    return inSecond < view->secondLength ? view->second[inSecond] : uint8_t{0};
}

uint16_t hostLinkBin16Copy(const HostLinkBin16* view, uint8_t* destination, uint16_t offset, uint16_t maximum) {
    const uint32_t inFirst = view->firstLength;
    const uint32_t total = inFirst + view->secondLength;
    if (unlikely(offset >= total)) return 0;
    const uint32_t left = total - offset;
    const uint32_t count = left < maximum ? left : maximum;
    if (unlikely(offset + count > inFirst)) return copyAcross(view, destination, offset, count);
    copyBytes(destination, view->first + offset, count);
    return static_cast<uint16_t>(count);
}
