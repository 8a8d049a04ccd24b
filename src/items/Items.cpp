#include "Items.h"

#include <algorithm>
#include <type_traits>

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkUInt16Message.h>
#include <hostlink/HostLinkValueMessage.h>

namespace hostlink {

namespace {

constexpr size_t mostItems = 255;
constexpr size_t longestMessage = 65535; // bytes
constexpr size_t headerBytes = 3;        // id and number of items
constexpr size_t itemHeaderBytes = 3;    // tag and encoding

Value valueAt(const HostLinkValueMessage& message, int index, Encoding encoding) {
    bool ok = false;
    switch (encoding) {
    case ENC_Bin16: return Value(message.getBin16(index, &ok));
    case ENC_Uint8: return Value(std::in_place_type<uint8_t>, message.getUint8(index, &ok));
    case ENC_Uint16: return Value(std::in_place_type<uint16_t>, message.getUint16(index, &ok));
    case ENC_Uint32: return Value(std::in_place_type<uint32_t>, message.getUint32(index, &ok));
    case ENC_Uint64: return Value(std::in_place_type<uint64_t>, uint64_t{message.getUint64(index, &ok)});
    case ENC_Int8: return Value(std::in_place_type<int8_t>, int8_t{message.getInt8(index, &ok)});
    case ENC_Int16: return Value(std::in_place_type<int16_t>, message.getInt16(index, &ok));
    case ENC_Int32: return Value(std::in_place_type<int32_t>, message.getInt32(index, &ok));
    case ENC_Int64: return Value(std::in_place_type<int64_t>, int64_t{message.getInt64(index, &ok)});
    case ENC_Nil: break;
    }
    return {};
}

size_t sizeOf(const Value& value) {
    return std::visit(
        [](const auto& held) -> size_t {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>)
                return 0;
            else if constexpr (std::is_same_v<Held, ByteArray>)
                return sizeof(uint16_t) + held.size(); // its length stands before it
            else
                return sizeof held;
        },
        value.alternatives());
}

// Appends one value in its encoding. There is room for it.
struct Appender {
    HostLinkLL& message;
    uint16_t tag;

    void operator()(std::monostate) const { hostLinkMessageVariantAddValue(&message, tag, nullptr, ENC_Nil); }
    void operator()(const ByteArray& bytes) const {
        hostLinkMessageVariantAddBin16(&message, tag, bytes.data(), static_cast<uint16_t>(bytes.size()));
    }
    template <typename Number> void operator()(Number number) const {
        uint8_t bytes[sizeof number];
        for (size_t i = 0; i < sizeof number; ++i)
            bytes[i] = static_cast<uint8_t>(static_cast<uint64_t>(number) >> 8 * i);
        hostLinkMessageVariantAddValue(&message, tag, bytes, Value(std::in_place_type<Number>, number).encoding());
    }
};

} // namespace

std::optional<std::vector<Item>> readItems(const ByteArray& bytes) {
    const HostLinkValueMessage message(bytes);
    if (!message.isValid()) return std::nullopt;
    std::vector<Item> items;
    for (int i = 0; i < message.size(); ++i) {
        bool ok = false;
        const uint16_t tag = message.getTag(i, &ok);
        if (!ok) return std::nullopt;
        items.push_back({tag, valueAt(message, i, message.getEnc(i, &ok))});
    }
    return items;
}

std::optional<std::vector<uint16_t>> readList(const ByteArray& bytes) {
    const HostLinkUInt16Message message(bytes);
    if (!message.isValid()) return std::nullopt;
    std::vector<uint16_t> numbers;
    numbers.reserve(static_cast<size_t>(message.size()));
    for (int i = 0; i < message.size(); ++i) numbers.push_back(message[i]);
    return numbers;
}

bool isList(MessageId id) {
    return HostLinkUInt16Message(id).isValid();
}

std::optional<std::vector<uint16_t>> sortedTags(const ByteArray& message) {
    std::vector<uint16_t> tags;
    if (isList(HostLinkMessage::messageId(message))) {
        const auto numbers = readList(message);
        if (!numbers) return std::nullopt;
        tags = *numbers;
    } else {
        const auto items = readItems(message);
        if (!items) return std::nullopt;
        tags.reserve(items->size());
        for (const Item& item : *items) tags.push_back(item.tag);
    }
    std::sort(tags.begin(), tags.end());
    return tags;
}

std::optional<ByteArray> writeItems(MessageId id, const std::vector<Item>& items) {
    if (items.size() > mostItems) return std::nullopt;
    size_t length = headerBytes;
    for (const Item& item : items) length += itemHeaderBytes + sizeOf(item.value);
    if (length > longestMessage) return std::nullopt;
    ByteArray message(length);
    HostLinkLL buffer{message.data(), static_cast<uint32_t>(length), 0};
    if (hostLinkMessageVariantInit(&buffer, id) != HOSTLINK_SUCCESS) return std::nullopt;
    for (const Item& item : items) std::visit(Appender{buffer, item.tag}, item.value.alternatives());
    return message;
}

std::optional<ByteArray> writeList(MessageId id, const std::vector<uint16_t>& numbers) {
    if (numbers.size() > mostItems) return std::nullopt;
    HostLinkUInt16Message message(id);
    for (const uint16_t number : numbers) message.addValue(number);
    return message.serialize();
}

std::optional<MessageId> answerTo(MessageId id) {
    switch (id) {
    case MSG_SetState: return MSG_SetStateResponse;
    case MSG_GetState: return MSG_GetStateResponse;
    case MSG_SubscribeState: return MSG_SubscribeStateResponse;
    case MSG_UnsubscribeState: return MSG_UnsubscribeStateResponse;
    case MSG_DataTransfer: return MSG_DataTransferResponse;
    case MSG_TcpTunneling: return MSG_TcpTunnelingResponse;
    default: return std::nullopt;
    }
}

} // namespace hostlink
