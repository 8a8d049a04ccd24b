// MessagePack by msgpack-cxx: [id, [tag, encoding, value], ...]. Read twice: by its visitor, and through its objects.
#include <msgpack.hpp>

#include "Peers.h"
#include "cases/AddCodec.h"

namespace bench {

namespace {

bool isSigned(uint8_t encoding) {
    return encoding >= ENC_Int8 && encoding <= ENC_Int64;
}

class Msgpack : public MessageCodec {
public:
    void build(const Sample& sample) override {
        buffer.clear();
        msgpack::packer<msgpack::sbuffer> packer(buffer);
        packer.pack_array(static_cast<uint32_t>(1 + sample.items.size()));
        packer.pack_uint16(sample.id);
        for (const Item& item : sample.items) pack(packer, item);
    }

protected:
    msgpack::sbuffer buffer;

private:
    static void pack(msgpack::packer<msgpack::sbuffer>& packer, const Item& item) {
        packer.pack_array(3);
        packer.pack_uint16(item.tag);
        packer.pack_uint8(item.encoding);
        if (item.encoding == ENC_Bin16) {
            packer.pack_bin(static_cast<uint32_t>(item.bytes.size()));
            packer.pack_bin_body(reinterpret_cast<const char*>(item.bytes.data()),
                                 static_cast<uint32_t>(item.bytes.size()));
        } else if (isSigned(item.encoding)) {
            packer.pack_int64(static_cast<int64_t>(item.number));
        } else {
            packer.pack_uint64(item.number);
        }
    }
};

// What stands where is known from the order of the numbers.
struct Visitor : msgpack::null_visitor {
    explicit Visitor(ItemSink* itemSink) : sink(itemSink) {}

    bool visit_positive_integer(uint64_t value) {
        if (depth == 1) {
            sink->id(static_cast<uint16_t>(value));
        } else if (field == 0) {
            tag = static_cast<uint16_t>(value);
        } else if (field == 1) {
            encoding = static_cast<uint8_t>(value);
        } else {
            sink->number(tag, encoding, value);
        }
        ++field;
        return true;
    }
    bool visit_negative_integer(int64_t value) {
        sink->number(tag, encoding, static_cast<uint64_t>(value));
        return true;
    }
    bool visit_bin(const char* bytes, uint32_t count) {
        sink->bytes(tag, reinterpret_cast<const uint8_t*>(bytes), count);
        return true;
    }
    bool start_array(uint32_t) {
        ++depth;
        field = 0;
        return true;
    }
    bool end_array() {
        --depth;
        return true;
    }

    ItemSink* sink;
    int depth = 0;
    int field = 0;
    uint16_t tag = 0;
    uint8_t encoding = 0;
};

class ByVisitor : public Msgpack {
public:
    bool read(ItemSink* sink) override {
        Visitor visitor(sink);
        return msgpack::parse(buffer.data(), buffer.size(), visitor);
    }
};

class ThroughObjects : public Msgpack {
public:
    bool read(ItemSink* sink) override {
        const msgpack::object_handle whole = msgpack::unpack(buffer.data(), buffer.size());
        const msgpack::object_array& message = whole.get().via.array;
        sink->id(message.ptr[0].as<uint16_t>());
        for (uint32_t i = 1; i < message.size; ++i) take(message.ptr[i].via.array.ptr, sink);
        return true;
    }

private:
    static void take(const msgpack::object* item, ItemSink* sink) {
        const auto tag = item[0].as<uint16_t>();
        const auto encoding = item[1].as<uint8_t>();
        if (encoding == ENC_Bin16) {
            sink->bytes(tag, reinterpret_cast<const uint8_t*>(item[2].via.bin.ptr), item[2].via.bin.size);
        } else if (isSigned(encoding)) {
            sink->number(tag, encoding, static_cast<uint64_t>(item[2].as<int64_t>()));
        } else {
            sink->number(tag, encoding, item[2].as<uint64_t>());
        }
    }
};

} // namespace

void addMsgpack(Cases* cases) {
    addCodec(cases, "msgpack-cxx, visitor", std::make_shared<ByVisitor>());
    addCodec(cases, "msgpack-cxx, objects", std::make_shared<ThroughObjects>());
}

} // namespace bench
