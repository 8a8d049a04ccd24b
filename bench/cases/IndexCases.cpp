// All items of a message, one after another: by the iterator and by index.
#include <memory>

#include <hostlink/HostLinkValueMessage.h>

#include "Case.h"
#include "Samples.h"

namespace bench {

namespace {

struct Message {
    explicit Message(size_t items) : classes(MSG_SetState) {
        for (const Item& item : numbers(items).items)
            classes.addValueUint16(item.tag, static_cast<uint16_t>(item.number));
        bytes = classes.serialize();
        buffer = {bytes.data(), static_cast<uint32_t>(bytes.size()), static_cast<uint32_t>(bytes.size())};
        classes = HostLinkValueMessage(bytes);
    }

    HostLinkValueMessage classes;
    ByteArray bytes;
    HostLinkLL buffer{};
};

uint16_t valueOf(const HostLinkVariant& item) {
    return static_cast<uint16_t>(item.value.bytes[0] | item.value.bytes[1] << 8);
}

uint64_t byIterator(const Message& message) {
    HostLinkVariantIter items;
    HostLinkVariant item;
    uint64_t sum = 0;
    hostLinkVariantIterator(&message.buffer, &items);
    while (hostLinkVariantIteratorGetNext(&items, &item) == HOSTLINK_SUCCESS) sum += valueOf(item);
    return sum;
}

uint64_t byIndex(const Message& message) {
    HostLinkVariant item;
    uint64_t sum = 0;
    const uint8_t count = hostLinkMessageVariantItemsCount(&message.buffer);
    for (unsigned i = 0; i < count; ++i) {
        if (hostLinkMessageVariantGetItem(&message.buffer, static_cast<uint8_t>(i), &item) == HOSTLINK_SUCCESS)
            sum += valueOf(item);
    }
    return sum;
}

uint64_t byGetter(const Message& message) {
    bool ok = false;
    uint64_t sum = 0;
    const int count = message.classes.size();
    for (int i = 0; i < count; ++i) sum += message.classes.getUint16(i, &ok);
    return sum;
}

} // namespace

void addIndexCases(Cases* cases) {
    for (const size_t items : {1, 10, 50, 100, 255}) {
        const auto message = std::make_shared<const Message>(items);
        // 0x1000 and so many in a row.
        const uint64_t sum = items * 0x1000 + items * (items - 1) / 2;
        const auto add = [&](const char* subject, uint64_t (*read)(const Message&)) {
            prove(read(*message) == sum, subject, std::to_string(items) + " items");
            cases->push_back({"items in turn", subject, std::to_string(items), [=] { return read(*message); }});
        };
        add("iterator", byIterator);
        add("function core, by index", byIndex);
        add("classes, by index", byGetter);
    }
}

} // namespace bench
