#include "MessageItems.h"

namespace hostlink::exchange {

namespace {

constexpr size_t countAt = 2; // of the byte that counts the items

size_t widthOf(Encoding encoding) {
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

Item itemFrom(const HostLinkVariant& variant) {
    Item item{variant.tag, static_cast<Encoding>(variant.encoding)};
    if (item.isBinary()) {
        item.data = variant.value.bin16.first;
        item.size = variant.value.bin16.firstLength;
    }
    for (size_t i = 0; i < widthOf(item.encoding); ++i)
        item.number |= static_cast<uint64_t>(variant.value.bytes[i]) << (8 * i);
    return item;
}

} // namespace

uint64_t maskOf(Encoding encoding) {
    const size_t width = widthOf(encoding);
    return width == 0 ? 0 : ~uint64_t{0} >> (8 * (sizeof(uint64_t) - width));
}

std::optional<std::vector<Item>> itemsOf(const ByteArray& message) {
    // The function core reads through a record that could also be written through.
    const auto size = static_cast<uint32_t>(message.size());
    const HostLinkLL buffer{const_cast<uint8_t*>(message.data()), size, size};
    HostLinkVariantIter iterator{};
    if (hostLinkVariantIterator(&buffer, &iterator) != HOSTLINK_SUCCESS) return std::nullopt;

    std::vector<Item> items;
    HostLinkVariant variant{};
    uint32_t code = HOSTLINK_SUCCESS;
    while ((code = hostLinkVariantIteratorGetNext(&iterator, &variant)) == HOSTLINK_SUCCESS)
        items.push_back(itemFrom(variant));
    if (code != HOSTLINK_NO_MORE_ITEMS) return std::nullopt;
    return items;
}

MessageWriter::MessageWriter(MessageId id) {
    append(id, 2);
    append(0, 1);
}

MessageWriter& MessageWriter::nil(uint16_t tag) {
    beginItem(tag, ENC_Nil);
    return *this;
}

MessageWriter& MessageWriter::number(uint16_t tag, Encoding encoding, uint64_t value) {
    beginItem(tag, encoding);
    append(value, widthOf(encoding));
    return *this;
}

MessageWriter& MessageWriter::binary(uint16_t tag, const uint8_t* data, size_t size) {
    beginItem(tag, ENC_Bin16);
    append(size, 2);
    bytes.insert(bytes.end(), data, data + size);
    return *this;
}

MessageWriter& MessageWriter::text(uint16_t tag, const std::string& characters) {
    return binary(tag, reinterpret_cast<const uint8_t*>(characters.data()), characters.size());
}

void MessageWriter::beginItem(uint16_t tag, Encoding encoding) {
    ++bytes[countAt];
    append(tag, 2);
    append(encoding, 1);
}

void MessageWriter::append(uint64_t number, size_t width) {
    for (size_t i = 0; i < width; ++i) bytes.push_back(static_cast<uint8_t>(number >> (8 * i)));
}

} // namespace hostlink::exchange
