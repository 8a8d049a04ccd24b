#include "hostlink/HostLinkValueMessage.h"

#include <cstring>

#include "FewBytes.h"
#include "MessageStore.h"
#include "hostlink/core/MessageLayout.h"

namespace {

constexpr size_t initialCapacity = 50;
constexpr int fixedValueGrowth = 14; // 28 bytes: room for the largest fixed item, 11 bytes
constexpr int bin16Overhead = 6;     // grows by 2·(n + 6): room for the n + 5 bytes of the item

// Little-endian bytes of a number, the form in which the core takes values.
template <typename T> void toWire(T value, unsigned char (&bytes)[sizeof(T)]) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    std::memcpy(bytes, &value, sizeof value);
#else
    for (size_t i = 0; i < sizeof(T); ++i) bytes[i] = static_cast<unsigned char>(static_cast<uint64_t>(value) >> 8 * i);
#endif
}

template <typename T> T fromWire(const unsigned char* bytes) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
#else
    uint64_t value = 0;
    for (size_t i = 0; i < sizeof(T); ++i) value |= static_cast<uint64_t>(bytes[i]) << 8 * i;
    return static_cast<T>(value);
#endif
}

// Where an item stands, in one word, so that threads that read one message never see half of it. No item stands at 0.
struct Place {
    uint8_t index;
    uint8_t length; // 0 when it does not fit here
    uint16_t position;
};

constexpr uint32_t noPlace = 0;

constexpr uint32_t packed(uint8_t index, int position, int length) {
    return static_cast<uint32_t>(position) << 16 | static_cast<uint32_t>(length <= UINT8_MAX ? length : 0) << 8 | index;
}

constexpr Place unpacked(uint32_t place) {
    return {static_cast<uint8_t>(place), static_cast<uint8_t>(place >> 8), static_cast<uint16_t>(place >> 16)};
}

} // namespace

// cppcheck-suppress uninitMemberVar ; of the few bytes those are read that were written
HostLinkValueMessage::HostLinkValueMessage(MessageId id)
    : buffer{few, initialCapacity, 0},
      valid(hostLinkMessageVariantInit(&buffer, id) == HOSTLINK_SUCCESS),
      lastRead(noPlace) {}

HostLinkValueMessage::HostLinkValueMessage(const ByteArray& message)
    : buffer{few, static_cast<uint32_t>(message.size()), static_cast<uint32_t>(message.size())},
      valid(false),
      lastRead(noPlace) {
    if (message.size() > sizeof few) {
        store = message;
        buffer.data = store.data();
    } else if (!message.empty()) {
        std::memcpy(few, message.data(), message.size());
    }
    valid = hostLinkMessageVariantVerify(&buffer, nullptr, nullptr) == HOSTLINK_SUCCESS;
}

// cppcheck-suppress uninitMemberVar ; as above
HostLinkValueMessage::HostLinkValueMessage(ByteArray&& message)
    : buffer{message.data(), static_cast<uint32_t>(message.size()), static_cast<uint32_t>(message.size())},
      store(std::move(message)),
      valid(hostLinkMessageVariantVerify(&buffer, nullptr, nullptr) == HOSTLINK_SUCCESS),
      lastRead(noPlace) {}

HostLinkValueMessage::HostLinkValueMessage(const HostLinkValueMessage& other)
    : HostLinkMessageSerializable(other),
      buffer(other.buffer),
      store(other.store),
      valid(other.valid),
      lastRead(noPlace) {
    buffer.data = hostlink::copied(other.buffer.data, other.buffer.used, other.few, store, few);
}

HostLinkValueMessage::HostLinkValueMessage(HostLinkValueMessage&& other) noexcept
    : buffer(other.buffer), valid(other.valid), lastRead(noPlace) {
    take(other);
}

HostLinkValueMessage& HostLinkValueMessage::operator=(const HostLinkValueMessage& other) {
    if (this != &other) *this = HostLinkValueMessage(other);
    return *this;
}

HostLinkValueMessage& HostLinkValueMessage::operator=(HostLinkValueMessage&& other) noexcept {
    if (this == &other) return *this;
    buffer = other.buffer;
    valid = other.valid;
    lastRead.store(noPlace, std::memory_order_relaxed);
    take(other);
    return *this;
}

HostLinkValueMessage::~HostLinkValueMessage() = default;

template <typename T>
HostLinkValueMessage& HostLinkValueMessage::addFixed(unsigned short tag, T value, Encoding encoding) {
    if (!valid) return *this;
    lastRead.store(noPlace, std::memory_order_relaxed);
    unsigned char bytes[sizeof(T)];
    toWire(value, bytes);
    if (hostLinkMessageVariantAddValue(&buffer, tag, bytes, encoding) == HOSTLINK_NO_ROOM) {
        resize(fixedValueGrowth);
        hostLinkMessageVariantAddValue(&buffer, tag, bytes, encoding);
    }
    return *this;
}

HostLinkValueMessage& HostLinkValueMessage::addValueUint8(unsigned short tag, unsigned char value) {
    return addFixed(tag, value, ENC_Uint8);
}

HostLinkValueMessage& HostLinkValueMessage::addValueUint16(unsigned short tag, unsigned short value) {
    return addFixed(tag, value, ENC_Uint16);
}

HostLinkValueMessage& HostLinkValueMessage::addValueUint32(unsigned short tag, unsigned int value) {
    return addFixed(tag, value, ENC_Uint32);
}

HostLinkValueMessage& HostLinkValueMessage::addValueUint64(unsigned short tag, unsigned long value) {
    return addFixed(tag, static_cast<uint64_t>(value), ENC_Uint64);
}

HostLinkValueMessage& HostLinkValueMessage::addValueInt8(unsigned short tag, signed char value) {
    return addFixed(tag, value, ENC_Int8);
}

HostLinkValueMessage& HostLinkValueMessage::addValueInt16(unsigned short tag, short value) {
    return addFixed(tag, value, ENC_Int16);
}

HostLinkValueMessage& HostLinkValueMessage::addValueInt32(unsigned short tag, int value) {
    return addFixed(tag, value, ENC_Int32);
}

HostLinkValueMessage& HostLinkValueMessage::addValueInt64(unsigned short tag, long value) {
    return addFixed(tag, static_cast<int64_t>(value), ENC_Int64);
}

HostLinkValueMessage& HostLinkValueMessage::addValueNil(unsigned short tag) {
    return addFixed(tag, uint8_t{0}, ENC_Nil);
}

HostLinkValueMessage& HostLinkValueMessage::addBytes(unsigned short tag, const unsigned char* bytes, size_t count) {
    if (!valid) return *this;
    lastRead.store(noPlace, std::memory_order_relaxed);
    const auto length = static_cast<uint16_t>(count);
    if (hostLinkMessageVariantAddBin16(&buffer, tag, bytes, length) == HOSTLINK_NO_ROOM) {
        resize(static_cast<int>(count) + bin16Overhead);
        hostLinkMessageVariantAddBin16(&buffer, tag, bytes, length);
    }
    return *this;
}

HostLinkValueMessage& HostLinkValueMessage::addValueBin16(unsigned short tag, ByteArray value) {
    return addBytes(tag, value.data(), value.size());
}

// cppcheck-suppress passedByValue ; the interface takes strings by value, as it takes byte arrays
HostLinkValueMessage& HostLinkValueMessage::addValueString(unsigned short tag, std::string value) {
    return addBytes(tag, reinterpret_cast<const unsigned char*>(value.data()), value.size());
}

// The item, which can be read; null when there is none. As hostLinkMessageVariantGetItem finds it, but from the item
// that was read last, or the one behind it. What was read and has not changed since can be read: a program that asks
// for an item's tag and then for its value takes 7 in 100 instructions less for a small message's whole way.
const unsigned char* HostLinkValueMessage::itemAt(int index) const {
    const auto wanted = static_cast<uint8_t>(index);
    // Relaxed: the word says all, and the bytes it speaks of do not change while others may read.
    const Place last = unpacked(lastRead.load(std::memory_order_relaxed));
    HostLinkVariantIter items;
    if (last.position != 0 && last.index == wanted) return buffer.data + last.position;
    if (last.position != 0 && last.index < wanted) {
        items = {&buffer, readableSize(&buffer), static_cast<uint16_t>(last.position + last.length),
                 buffer.data[itemCountAt], static_cast<uint8_t>(last.index + (last.length != 0 ? 1 : 0))};
    } else if (!valid || hostLinkVariantIterator(&buffer, &items) != HOSTLINK_SUCCESS) {
        return nullptr;
    }
    if (wanted >= items.count) return nullptr;
    while (items.index < wanted) {
        if (hostLinkVariantIteratorNext(&items) != HOSTLINK_SUCCESS) return nullptr;
    }
    const int position = items.position;
    if (hostLinkVariantIteratorNext(&items) != HOSTLINK_SUCCESS) return nullptr;
    lastRead.store(packed(wanted, position, items.position - position), std::memory_order_relaxed);
    return buffer.data + position;
}

// The value of an item, which has this encoding; null when there is none.
const unsigned char* HostLinkValueMessage::valueAt(int index, Encoding encoding) const {
    const unsigned char* item = itemAt(index);
    return item != nullptr && item[encodingAt] == encoding ? item + variantHeaderSize : nullptr;
}

unsigned short HostLinkValueMessage::getTag(int index, bool* ok) const {
    const unsigned char* item = itemAt(index);
    *ok = item != nullptr;
    return *ok ? load16le(item) : uint16_t{0};
}

Encoding HostLinkValueMessage::getEnc(int index, bool* ok) const {
    const unsigned char* item = itemAt(index);
    *ok = item != nullptr;
    return *ok ? static_cast<Encoding>(item[encodingAt]) : Encoding{};
}

template <typename T> T HostLinkValueMessage::getFixed(int index, bool* ok, Encoding encoding) const {
    const unsigned char* value = valueAt(index, encoding);
    *ok = value != nullptr;
    return *ok ? fromWire<T>(value) : T{};
}

unsigned char HostLinkValueMessage::getUint8(int index, bool* ok) const {
    return getFixed<unsigned char>(index, ok, ENC_Uint8);
}

unsigned short HostLinkValueMessage::getUint16(int index, bool* ok) const {
    return getFixed<unsigned short>(index, ok, ENC_Uint16);
}

unsigned int HostLinkValueMessage::getUint32(int index, bool* ok) const {
    return getFixed<unsigned int>(index, ok, ENC_Uint32);
}

unsigned long HostLinkValueMessage::getUint64(int index, bool* ok) const {
    return static_cast<unsigned long>(getFixed<uint64_t>(index, ok, ENC_Uint64));
}

signed char HostLinkValueMessage::getInt8(int index, bool* ok) const {
    return getFixed<signed char>(index, ok, ENC_Int8);
}

short HostLinkValueMessage::getInt16(int index, bool* ok) const {
    return getFixed<short>(index, ok, ENC_Int16);
}

int HostLinkValueMessage::getInt32(int index, bool* ok) const {
    return getFixed<int>(index, ok, ENC_Int32);
}

long HostLinkValueMessage::getInt64(int index, bool* ok) const {
    return static_cast<long>(getFixed<int64_t>(index, ok, ENC_Int64));
}

bool HostLinkValueMessage::getNil(int index, bool* ok) const {
    *ok = valueAt(index, ENC_Nil) != nullptr;
    return *ok;
}

ByteArray HostLinkValueMessage::getBin16(int index, bool* ok) const {
    const unsigned char* value = valueAt(index, ENC_Bin16);
    *ok = value != nullptr;
    if (!*ok) return {};
    const unsigned char* bytes = value + bin16LengthSize;
    return {bytes, bytes + load16le(value)};
}

std::string HostLinkValueMessage::getString(int index, bool* ok) const {
    const unsigned char* value = valueAt(index, ENC_Bin16);
    *ok = value != nullptr;
    if (!*ok) return {};
    return {reinterpret_cast<const char*>(value + bin16LengthSize), load16le(value)};
}

int HostLinkValueMessage::size() const {
    return valid ? hostLinkMessageVariantItemsCount(&buffer) : 0;
}

bool HostLinkValueMessage::isValid() const {
    return valid;
}

void HostLinkValueMessage::resize(int n) {
    lastRead.store(noPlace, std::memory_order_relaxed);
    const auto capacity = static_cast<size_t>(std::max(static_cast<long>(buffer.capacity) + 2L * n, 0L));
    if (n < 0) {
        hostlink::shrink(buffer.data, buffer.used, capacity, store, few);
    } else {
        buffer.data = hostlink::grown(buffer.data, buffer.used, capacity, 0, store, few);
    }
    buffer.capacity = static_cast<uint32_t>(capacity);
}

// Of one whose numbers are here already; it is left without bytes.
void HostLinkValueMessage::take(HostLinkValueMessage& other) noexcept {
    buffer.data = hostlink::taken(other.buffer.data, other.buffer.used, other.store, other.few, store, few);
    other.buffer = {nullptr, 0, 0};
    other.lastRead.store(noPlace, std::memory_order_relaxed);
}

ByteArray HostLinkValueMessage::serialize() const {
    return hostlink::messageIn(buffer);
}
