// Protocol Buffers by nanopb, over buffers of fixed size: message.proto.
#include <array>
#include <cstring>

#include <pb_decode.h>
#include <pb_encode.h>

#include "Peers.h"
#include "cases/AddCodec.h"
#include "message.pb.h"

namespace bench {

namespace {

void fill(::Item* field, const Item& item) {
    field->tag = item.tag;
    field->encoding = item.encoding;
    if (item.encoding == ENC_Bin16) {
        field->which_value = Item_binary_tag;
        field->value.binary.size = static_cast<pb_size_t>(item.bytes.size());
        if (!item.bytes.empty()) std::memcpy(field->value.binary.bytes, item.bytes.data(), item.bytes.size());
    } else if (item.encoding >= ENC_Int8 && item.encoding <= ENC_Int64) {
        field->which_value = Item_signed_number_tag;
        field->value.signed_number = static_cast<int64_t>(item.number);
    } else {
        field->which_value = Item_unsigned_number_tag;
        field->value.unsigned_number = item.number;
    }
}

bool encodeItems(pb_ostream_t* stream, const pb_field_t* field, void* const* argument) {
    const auto& items = *static_cast<const std::vector<Item>*>(*argument);
    ::Item one; // without zeroes: only what is filled is looked at
    for (const Item& item : items) {
        fill(&one, item);
        if (!pb_encode_tag_for_field(stream, field) || !pb_encode_submessage(stream, Item_fields, &one)) return false;
    }
    return true;
}

bool decodeItem(pb_istream_t* stream, const pb_field_t*, void** argument) {
    ItemSink* const sink = static_cast<ItemSink*>(*argument);
    ::Item one;
    if (!pb_decode(stream, Item_fields, &one)) return false;
    const auto tag = static_cast<uint16_t>(one.tag);
    const auto encoding = static_cast<uint8_t>(one.encoding);
    switch (one.which_value) {
    case Item_binary_tag: sink->bytes(tag, one.value.binary.bytes, one.value.binary.size); break;
    case Item_signed_number_tag: sink->number(tag, encoding, static_cast<uint64_t>(one.value.signed_number)); break;
    default: sink->number(tag, encoding, one.value.unsigned_number); break;
    }
    return true;
}

class Nanopb : public MessageCodec {
public:
    void build(const Sample& sample) override {
        ::Message message = Message_init_zero;
        message.id = sample.id;
        message.items.funcs.encode = encodeItems;
        message.items.arg = const_cast<std::vector<Item>*>(&sample.items);
        pb_ostream_t stream = pb_ostream_from_buffer(store.data(), store.size());
        size = pb_encode(&stream, Message_fields, &message) ? stream.bytes_written : 0;
    }
    bool read(ItemSink* sink) override {
        ::Message message = Message_init_zero;
        message.items.funcs.decode = decodeItem;
        message.items.arg = sink;
        pb_istream_t stream = pb_istream_from_buffer(store.data(), size);
        if (!pb_decode(&stream, Message_fields, &message)) return false;
        sink->id(static_cast<uint16_t>(message.id));
        return size != 0;
    }

private:
    std::array<uint8_t, 16384> store{};
    size_t size = 0;
};

} // namespace

void addNanopb(Cases* cases) {
    addCodec(cases, "nanopb", std::make_shared<Nanopb>());
}

} // namespace bench
