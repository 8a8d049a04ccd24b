// A message from its values to its bytes and back, without packets.
#include <array>
#include <cstring>
#include <memory>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkValueMessage.h>

#include "AddCodec.h"

namespace bench {

namespace {

// The value of an encoding of fixed length, from its little-endian bytes.
uint64_t numberOf(const uint8_t* bytes, uint8_t encoding) {
    const auto as = [bytes](auto value) {
        std::memcpy(&value, bytes, sizeof value);
        return static_cast<uint64_t>(static_cast<int64_t>(value));
    };
    switch (encoding) {
    case ENC_Uint8: return as(uint8_t{});
    case ENC_Uint16: return as(uint16_t{});
    case ENC_Uint32: return as(uint32_t{});
    case ENC_Uint64: return as(uint64_t{});
    case ENC_Int8: return as(int8_t{});
    case ENC_Int16: return as(int16_t{});
    case ENC_Int32: return as(int32_t{});
    case ENC_Int64: return as(int64_t{});
    default: return 0;
    }
}

class Core : public MessageCodec {
public:
    void build(const Sample& sample) override {
        message.used = 0;
        hostLinkMessageVariantInit(&message, sample.id);
        for (const Item& item : sample.items) {
            if (item.encoding == ENC_Bin16) {
                hostLinkMessageVariantAddBin16(&message, item.tag, item.bytes.data(),
                                               static_cast<uint16_t>(item.bytes.size()));
            } else {
                hostLinkMessageVariantAddValue(&message, item.tag, &item.number, item.encoding);
            }
        }
    }
    bool read(ItemSink* sink) override {
        HostLinkVariantIter items;
        HostLinkVariant item;
        if (hostLinkVariantIterator(&message, &items) != HOSTLINK_SUCCESS) return false;
        sink->id(hostLinkMessageId(message.data, static_cast<uint16_t>(message.used)));
        uint32_t code;
        while ((code = hostLinkVariantIteratorGetNext(&items, &item)) == HOSTLINK_SUCCESS) {
            if (item.encoding == ENC_Bin16) {
                sink->bytes(item.tag, item.value.bin16.first, item.value.bin16.firstLength);
            } else {
                sink->number(item.tag, item.encoding, numberOf(item.value.bytes, item.encoding));
            }
        }
        return code == HOSTLINK_NO_MORE_ITEMS;
    }

    std::vector<uint8_t> bytes() const { return {message.data, message.data + message.used}; }

private:
    std::array<uint8_t, 16384> store{};
    HostLinkLL message{store.data(), static_cast<uint32_t>(store.size()), 0};
};

class Classes : public MessageCodec {
public:
    void build(const Sample& sample) override {
        HostLinkValueMessage message(static_cast<MessageId>(sample.id));
        for (const Item& item : sample.items) add(&message, item);
        serialized = message.serialize();
    }
    bool read(ItemSink* sink) override {
        const HostLinkValueMessage message(serialized);
        sink->id(HostLinkMessage::messageId(serialized));
        bool ok = true;
        for (int i = 0; ok && i < message.size(); ++i) take(message, i, &ok, sink);
        return ok && message.isValid();
    }

private:
    static void add(HostLinkValueMessage* message, const Item& item) {
        switch (item.encoding) {
        case ENC_Uint8: message->addValueUint8(item.tag, static_cast<uint8_t>(item.number)); break;
        case ENC_Uint16: message->addValueUint16(item.tag, static_cast<uint16_t>(item.number)); break;
        case ENC_Uint32: message->addValueUint32(item.tag, static_cast<uint32_t>(item.number)); break;
        case ENC_Uint64: message->addValueUint64(item.tag, item.number); break;
        case ENC_Int8: message->addValueInt8(item.tag, static_cast<int8_t>(item.number)); break;
        case ENC_Int16: message->addValueInt16(item.tag, static_cast<int16_t>(item.number)); break;
        case ENC_Int32: message->addValueInt32(item.tag, static_cast<int32_t>(item.number)); break;
        case ENC_Int64: message->addValueInt64(item.tag, static_cast<int64_t>(item.number)); break;
        case ENC_Nil: message->addValueNil(item.tag); break;
        default: message->addValueBin16(item.tag, item.bytes); break;
        }
    }
    static void take(const HostLinkValueMessage& message, int i, bool* ok, ItemSink* sink) {
        const uint16_t tag = message.getTag(i, ok);
        if (!*ok) return;
        const Encoding encoding = message.getEnc(i, ok);
        const auto give = [&](auto value) {
            sink->number(tag, static_cast<uint8_t>(encoding), static_cast<uint64_t>(static_cast<int64_t>(value)));
        };
        switch (encoding) {
        case ENC_Uint8: return give(message.getUint8(i, ok));
        case ENC_Uint16: return give(message.getUint16(i, ok));
        case ENC_Uint32: return give(message.getUint32(i, ok));
        case ENC_Uint64: return give(message.getUint64(i, ok));
        case ENC_Int8: return give(message.getInt8(i, ok));
        case ENC_Int16: return give(message.getInt16(i, ok));
        case ENC_Int32: return give(message.getInt32(i, ok));
        case ENC_Int64: return give(message.getInt64(i, ok));
        case ENC_Nil: message.getNil(i, ok); return give(0);
        case ENC_Bin16: {
            const ByteArray bytes = message.getBin16(i, ok);
            sink->bytes(tag, bytes.data(), bytes.size());
        }
        }
    }

    ByteArray serialized;
};

} // namespace

std::vector<uint8_t> bytesOf(const Sample& sample) {
    Core core;
    core.build(sample);
    return core.bytes();
}

void addMessageCases(Cases* cases) {
    addCodec(cases, "function core", std::make_shared<Core>());
    addCodec(cases, "classes", std::make_shared<Classes>());
}

} // namespace bench
