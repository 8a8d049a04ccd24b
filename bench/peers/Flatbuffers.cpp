// FlatBuffers, verified before it is read: message.fbs.
#include "Peers.h"
#include "cases/AddCodec.h"
#include "message_generated.h"

namespace bench {

namespace {

class Flatbuffers : public MessageCodec {
public:
    void build(const Sample& sample) override {
        builder.Clear();
        fields.clear();
        for (const Item& item : sample.items) fields.push_back(fieldOf(item));
        builder.Finish(flat::CreateMessage(builder, sample.id, builder.CreateVector(fields)));
    }
    bool read(ItemSink* sink) override {
        flatbuffers::Verifier verifier(builder.GetBufferPointer(), builder.GetSize());
        if (!flat::VerifyMessageBuffer(verifier)) return false;
        const flat::Message* const message = flat::GetMessage(builder.GetBufferPointer());
        sink->id(message->id());
        for (const flat::Item* item : *message->items()) {
            if (item->encoding() == ENC_Bin16) {
                sink->bytes(item->tag(), item->binary()->data(), item->binary()->size());
            } else {
                sink->number(item->tag(), item->encoding(), item->number());
            }
        }
        return true;
    }

private:
    flatbuffers::Offset<flat::Item> fieldOf(const Item& item) {
        if (item.encoding != ENC_Bin16) return flat::CreateItem(builder, item.tag, item.encoding, item.number);
        const auto binary = builder.CreateVector(item.bytes);
        return flat::CreateItem(builder, item.tag, item.encoding, 0, binary);
    }

    flatbuffers::FlatBufferBuilder builder;
    std::vector<flatbuffers::Offset<flat::Item>> fields;
};

} // namespace

void addFlatbuffers(Cases* cases) {
    addCodec(cases, "flatbuffers, verified", std::make_shared<Flatbuffers>());
}

} // namespace bench
