/// @file
/// What the printer and its competitors are given.
#pragma once

#include <hostlink/HostLinkLib.h>

#include "Case.h"

namespace bench {

using Print = std::function<std::string(const std::vector<uint8_t>& message)>;
/// A printer of messages of 16-bit numbers, as `numbers` makes them.
void addPrinter(Cases* cases, const std::string& subject, const Print& print);

std::string expectedText(size_t items);

/// How the competitors read what they print: by the library's iterator.
class ReadForPrint {
public:
    explicit ReadForPrint(const std::vector<uint8_t>& message)
        : buffer{const_cast<uint8_t*>(message.data()), static_cast<uint32_t>(message.size()),
                 static_cast<uint32_t>(message.size())},
          id(hostLinkMessageId(message.data(), static_cast<uint16_t>(message.size()))),
          count(hostLinkMessageVariantItemsCount(&buffer)) {}

    /// Calls `take(tag, encoding, value)` for each item.
    template <typename Take> void each(Take take) const {
        HostLinkVariantIter items;
        HostLinkVariant item;
        hostLinkVariantIterator(&buffer, &items);
        while (hostLinkVariantIteratorGetNext(&items, &item) == HOSTLINK_SUCCESS)
            take(item.tag, item.encoding, static_cast<unsigned>(item.value.bytes[0] | item.value.bytes[1] << 8));
    }

private:
    HostLinkLL buffer;

public:
    const unsigned id;
    const unsigned count;
};

} // namespace bench
