#include "MessageItems.h"

#include <algorithm>

#include <hostlink/HostLinkUInt16Message.h>

namespace hostsim {

namespace {

constexpr size_t maxMessageSize = 65535;

Value valueOf(const HostLinkVariant& item) {
    const auto encoding = static_cast<Encoding>(item.encoding);
    if (encoding == ENC_Bin16) {
        const HostLinkBin16& view = item.value.bin16;
        return {encoding, ByteArray(view.first, view.first + view.firstLength)};
    }
    return {encoding, ByteArray(item.value.bytes, item.value.bytes + numberWidth(encoding))};
}

size_t sizeOnWire(const Item& item) {
    return item.value.bytes.size() + (item.value.encoding == ENC_Bin16 ? 5 : 3);
}

void append(HostLinkLL* message, const Item& item) {
    const ByteArray& bytes = item.value.bytes;
    if (item.value.encoding == ENC_Bin16) {
        hostLinkMessageVariantAddBin16(message, item.tag, bytes.data(), static_cast<uint16_t>(bytes.size()));
    } else {
        hostLinkMessageVariantAddValue(message, item.tag, bytes.data(), item.value.encoding);
    }
}

} // namespace

bool isSigned(Encoding encoding) {
    return encoding >= ENC_Int8 && encoding <= ENC_Int64;
}

int numberWidth(Encoding encoding) {
    switch (encoding) {
    case ENC_Uint8:
    case ENC_Int8: return 1;
    case ENC_Uint16:
    case ENC_Int16: return 2;
    case ENC_Uint32:
    case ENC_Int32: return 4;
    case ENC_Uint64:
    case ENC_Int64: return 8;
    default: return 0;
    }
}

Value numberValue(Encoding encoding, uint64_t number) {
    Value value{encoding, {}};
    for (int i = 0; i < numberWidth(encoding); ++i) {
        value.bytes.push_back(static_cast<unsigned char>(number >> (8 * i)));
    }
    return value;
}

Value textValue(const std::string& text) {
    return {ENC_Bin16,
            ByteArray(text.begin(), text.begin() + static_cast<long>(std::min(text.size(), maxMessageSize)))};
}

std::optional<int64_t> numberOf(const Value& value) {
    const int width = numberWidth(value.encoding);
    if (width == 0 || value.bytes.size() != static_cast<size_t>(width)) return std::nullopt;
    uint64_t number = 0;
    for (int i = 0; i < width; ++i) number |= static_cast<uint64_t>(value.bytes[static_cast<size_t>(i)]) << (8 * i);
    if (isSigned(value.encoding) && width < 8 && (value.bytes.back() & 0x80) != 0) {
        number |= ~uint64_t{0} << (8 * width);
    }
    return static_cast<int64_t>(number);
}

std::optional<std::vector<Item>> readItems(const ByteArray& message) {
    ByteArray bytes = message;
    HostLinkLL buffer{bytes.data(), static_cast<uint32_t>(bytes.size()), static_cast<uint32_t>(bytes.size())};
    HostLinkVariantIter iterator{};
    if (hostLinkVariantIterator(&buffer, &iterator) != HOSTLINK_SUCCESS) return std::nullopt;

    std::vector<Item> items;
    HostLinkVariant item{};
    uint32_t code = HOSTLINK_SUCCESS;
    while ((code = hostLinkVariantIteratorGetNext(&iterator, &item)) == HOSTLINK_SUCCESS) {
        items.push_back({item.tag, valueOf(item)});
    }
    if (code != HOSTLINK_NO_MORE_ITEMS) return std::nullopt;
    return items;
}

ByteArray writeItems(MessageId id, const std::vector<Item>& items) {
    size_t size = 3;
    for (const Item& item : items) size += sizeOnWire(item);
    ByteArray message(std::min(size, maxMessageSize));
    HostLinkLL buffer{message.data(), static_cast<uint32_t>(message.size()), 0};
    hostLinkMessageVariantInit(&buffer, id);
    for (const Item& item : items) append(&buffer, item);
    message.resize(buffer.used);
    return message;
}

std::optional<std::vector<uint16_t>> readList(const ByteArray& message) {
    const HostLinkUInt16Message list(message);
    if (!list.isValid()) return std::nullopt;
    std::vector<uint16_t> numbers;
    numbers.reserve(static_cast<size_t>(list.size()));
    bool ok = false;
    for (int i = 0; i < list.size(); ++i) numbers.push_back(list.get(i, &ok));
    return numbers;
}

ByteArray writeList(MessageId id, const std::vector<uint16_t>& numbers) {
    HostLinkUInt16Message list(id);
    for (const uint16_t number : numbers) list.addValue(number);
    return list.serialize();
}

} // namespace hostsim
