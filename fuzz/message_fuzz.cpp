// Message functions of the core: what they read from any bytes, and what they append to any buffer.
#include <algorithm>
#include <optional>
#include <vector>

#include <hostlink/HostLinkLib.h>

#include "support/Input.h"
#include "support/Require.h"
#include "support/WireReference.h"

namespace {

struct Item {
    unsigned tag;
    unsigned encoding;
    ByteArray value; // of a binary value: its bytes without their count
};

/// Value bytes behind an encoding; none where the encoding has no fixed length.
std::optional<size_t> fixedLength(int encoding) {
    switch (encoding) {
    case 192: return 0;
    case 204:
    case 208: return 1;
    case 205:
    case 209: return 2;
    case 206:
    case 210: return 4;
    case 207:
    case 211: return 8;
    default: return std::nullopt;
    }
}

bool isListId(unsigned id) {
    const unsigned low = id & 31;
    return low == 3 || low == 5 || (low == 2 && id < 0x8000);
}

unsigned headerCode(const ByteArray& message, bool list) {
    if (message.size() < 3) return 13;
    const unsigned id = reference::word(message, 0);
    if ((id & 0x7FFF) > 63) return 18;
    if (isListId(id) != list) return 19;
    return 3U + (list ? 2U : 3U) * message[2] > message.size() ? 21 : 0;
}

/// The items of a variant message up to the first that cannot be read, and what is wrong with that one.
struct Walk {
    explicit Walk(const ByteArray& message) {
        for (unsigned i = 0; i < message[2] && code == 0; ++i) code = read(message);
    }

    unsigned read(const ByteArray& message) {
        const size_t left = message.size() - end;
        if (left < 3) return 21;
        Item item{reference::word(message, end), message[end + 2], {}};
        size_t from = end + 3;
        size_t length = 0;
        if (item.encoding == 197) {
            if (left < 5) return 21;
            length = reference::word(message, from);
            from += 2;
        } else {
            const auto fixed = fixedLength(static_cast<int>(item.encoding));
            if (!fixed) return 20;
            length = *fixed;
        }
        if (from + length > message.size()) return 21;
        item.value = slice(message, from, from + length);
        items.push_back(item);
        end = from + length;
        return 0;
    }

    std::vector<Item> items;
    size_t end = 3; // of what could be read
    unsigned code = 0;
};

ByteArray copied(const HostLinkBin16& view) {
    ExactBytes bytes(size_t{view.firstLength} + view.secondLength);
    require(hostLinkBin16Copy(&view, bytes.data(), 0, bytes.size16()) == bytes.size(),
            "a binary value is copied whole");
    return bytes.copy();
}

void checkPartialCopy(const HostLinkBin16& view, const ByteArray& value, size_t offset, size_t maximum) {
    const size_t from = std::min(offset, value.size());
    const size_t count = std::min(maximum, value.size() - from);
    ExactBytes part(count);
    require(hostLinkBin16Copy(&view, part.data(), static_cast<uint16_t>(offset), static_cast<uint16_t>(maximum)) ==
                    count &&
                part.copy() == slice(value, from, from + count),
            "a part of a binary value is copied");
    const uint8_t index = static_cast<uint8_t>(offset);
    require(hostLinkBin16Get(&view, index) == (index < value.size() ? value[index] : 0), "a byte of a binary value");
}

void checkItem(const HostLinkVariant& item, const Item& expected) {
    require(item.tag == expected.tag && item.encoding == expected.encoding, "tag and encoding");
    if (item.encoding == ENC_Bin16) {
        require(copied(item.value.bin16) == expected.value, "a binary value");
        checkPartialCopy(item.value.bin16, expected.value, expected.tag % 300U, expected.tag / 256U);
    } else {
        require(std::equal(expected.value.begin(), expected.value.end(), item.value.bytes), "a value of fixed length");
    }
}

// A view in two pieces reads as their concatenation.
void checkTwoPieces(const ByteArray& message) {
    const size_t middle = message.size() / 3;
    const ByteArray second = slice(message, middle, message.size());
    const HostLinkBin16 view{message.data(), second.data(), static_cast<uint16_t>(middle),
                             static_cast<uint16_t>(second.size())};
    require(copied(view) == message, "two pieces read as one");
    checkPartialCopy(view, message, message.size() / 4, message.size() / 2);
    checkPartialCopy(view, message, message.size() / 2, message.size());
}

void checkIteration(const HostLinkLL& buffer, const Walk& walk) {
    HostLinkVariantIter iterator{};
    require(hostLinkVariantIterator(&buffer, &iterator) == HOSTLINK_SUCCESS, "a message that verifies can be walked");
    for (const Item& expected : walk.items) {
        HostLinkVariant item{};
        require(hostLinkVariantIteratorGetValue(&iterator, &item) == HOSTLINK_SUCCESS, "an item can be looked at");
        checkItem(item, expected);
        require(hostLinkVariantIteratorGetNext(&iterator, &item) == HOSTLINK_SUCCESS, "an item can be taken");
        checkItem(item, expected);
    }
    const unsigned ending = walk.code == 0 ? 1 : walk.code;
    for (int i = 0; i < 2; ++i) {
        HostLinkVariant item{};
        require(hostLinkVariantIteratorGetNext(&iterator, &item) == ending, "a walk ends with the reason");
        require(hostLinkVariantIteratorNext(&iterator) == ending, "a skip ends with the reason");
        require(iterator.position == walk.end && iterator.index == walk.items.size(),
                "the iterator stands before what it could not read");
    }
}

void checkGetters(const HostLinkLL& buffer, const Walk& walk, unsigned count, unsigned index) {
    HostLinkVariant item{};
    const uint32_t code = hostLinkMessageVariantGetItem(&buffer, static_cast<uint8_t>(index), &item);
    if (index >= count) return require(code == 21, "an item that is not there");
    if (index >= walk.items.size()) return require(code == walk.code, "an item behind one that cannot be read");
    require(code == HOSTLINK_SUCCESS, "an item that is there");
    checkItem(item, walk.items[index]);
}

uint32_t append(HostLinkLL& buffer, const Item& item) {
    const auto tag = static_cast<uint16_t>(item.tag);
    if (item.encoding != 197)
        return hostLinkMessageVariantAddValue(&buffer, tag, item.value.data(), static_cast<int>(item.encoding));
    return hostLinkMessageVariantAddBin16(&buffer, tag, item.value.data(), static_cast<uint16_t>(item.value.size()));
}

// What was read is built again into a block of its exact size, byte for byte; and not into one that is a byte short.
void checkVariantAgain(const ByteArray& message, const Walk& walk) {
    for (const size_t missing : {size_t{0}, size_t{1}}) {
        ExactBytes block(walk.end - missing);
        HostLinkLL buffer{block.data(), static_cast<uint32_t>(block.size()), 0};
        uint32_t code = hostLinkMessageVariantInit(&buffer, static_cast<uint16_t>(reference::word(message, 0)));
        for (const Item& item : walk.items) {
            if (code == HOSTLINK_SUCCESS) code = append(buffer, item);
        }
        require(code == (missing == 0 ? HOSTLINK_SUCCESS : HOSTLINK_NO_ROOM), "a message fits a block of its size");
        if (missing == 0) require(block.copy() == slice(message, 0, walk.end), "items are written as they were read");
        require(block.isUntouched(buffer.used), "nothing is written behind what is used");
    }
}

void checkListAgain(const ByteArray& message) {
    const size_t size = 3 + 2 * size_t{message[2]};
    ExactBytes block(size);
    HostLinkLL buffer{block.data(), static_cast<uint32_t>(size), 0};
    require(hostLinkMessageUint16Init(&buffer, static_cast<uint16_t>(reference::word(message, 0))) == HOSTLINK_SUCCESS,
            "a list can be begun");
    for (size_t i = 3; i < size; i += 2) {
        require(hostLinkMessageUint16AddItem(&buffer, static_cast<uint16_t>(reference::word(message, i))) ==
                    HOSTLINK_SUCCESS,
                "a list item fits");
    }
    require(block.copy() == slice(message, 0, size), "list items are written as they were read");
    const uint32_t full = message[2] == 255 ? 17 : 16;
    require(hostLinkMessageUint16AddItem(&buffer, 1) == full && buffer.used == size, "a full list stays as it is");
}

void readList(const HostLinkLL& buffer, const ByteArray& message, unsigned index) {
    uint8_t count = 0;
    const unsigned code = headerCode(message, true);
    require(hostLinkMessageUint16Verify(&buffer, &count) == code, "a list's header is judged by the order of checks");
    uint16_t value = 0;
    const uint32_t got = hostLinkMessageUint16GetItem(&buffer, static_cast<uint8_t>(index), &value);
    if (code != 0) return require(got == code, "no item comes of a list that does not verify");
    require(count == message[2], "the count of a list");
    require(got == (index < count ? 0U : 21U), "an item is there when its index is below the count");
    if (index < count) require(value == reference::word(message, 3 + 2 * size_t{index}), "the item of a list");
    checkListAgain(message);
}

void readVariants(const HostLinkLL& buffer, const ByteArray& message, unsigned index) {
    uint16_t held = 0;
    uint8_t count = 0;
    const unsigned code = headerCode(message, false);
    require(hostLinkMessageVariantVerify(&buffer, &held, &count) == code,
            "a variant message's header is judged by the order of checks");
    if (code != 0) {
        HostLinkVariantIter iterator{};
        HostLinkVariant item{};
        require(hostLinkVariantIterator(&buffer, &iterator) == code, "a message that does not verify is not walked");
        require(hostLinkMessageVariantGetItem(&buffer, 0, &item) == code, "nor has it items");
        return;
    }
    require(count == message[2] && held == message.size(), "count and size");
    const Walk walk(message);
    checkIteration(buffer, walk);
    for (const size_t i : {size_t{index}, size_t{0}, walk.items.size()})
        checkGetters(buffer, walk, count, static_cast<unsigned>(i & 0xFF));
    if (walk.code == 0) checkVariantAgain(message, walk);
}

// `used` may be larger than the storage, which is what counts then.
void readMessage(Input& input) {
    const unsigned index = input.byte();
    const uint32_t excess = input.byte();
    const ByteArray message = input.bytes(65535 - excess);
    const auto size = static_cast<uint32_t>(message.size());
    // Readers never write.
    const HostLinkLL buffer{const_cast<uint8_t*>(message.data()), size, size + excess};
    require(hostLinkMessageId(message.data(), static_cast<uint16_t>(size)) ==
                (size < 2 ? 0 : reference::word(message, 0)),
            "the message id");
    const bool initialised = size + excess >= 3;
    require(hostLinkLLIsInitialized(&buffer) == (initialised ? 0U : 13U), "a header is three bytes");
    if (size >= 3) {
        readList(buffer, message, index);
        readVariants(buffer, message, index);
    } else {
        uint8_t count = 0;
        const uint32_t code = initialised ? 10 : 13;
        require(hostLinkMessageUint16Verify(&buffer, &count) == code, "a list that is too short");
        require(hostLinkMessageVariantVerify(&buffer, nullptr, &count) == code, "a variant message that is too short");
    }
    require(hostLinkMessageVariantItemsCount(&buffer) == (size >= 3 ? message[2] : 0), "the count byte");
    const HostLinkLL longer{buffer.data, size, 0x10000 + excess}; // more than 16 bits hold
    require(hostLinkMessageVariantItemsCount(&longer) == (size >= 3 ? message[2] : 0), "the count of a long message");
    require(hostLinkMessageUint16ItemsCount(&longer) == (size >= 3 ? message[2] : 0), "the count of a long list");
    checkTwoPieces(message);
}

/// A message that grows, as a plain array.
struct Model {
    size_t capacity;
    ByteArray bytes;

    size_t space() const { return capacity - bytes.size(); }
    unsigned add(const ByteArray& item) {
        bytes.insert(bytes.end(), item.begin(), item.end());
        ++bytes[2];
        return 0;
    }
    unsigned addListItem(uint16_t value) {
        if (bytes.size() < 3) return 13;
        if (bytes[2] == 255) return 17;
        if (space() < 2) return 16;
        return add({static_cast<unsigned char>(value & 255), static_cast<unsigned char>(value >> 8)});
    }
    unsigned addVariant(const Item& item) {
        if (bytes.size() < 3) return 13;
        const bool binary = item.encoding == 197;
        if (!binary && !fixedLength(static_cast<int>(item.encoding))) return 20;
        const size_t size = item.value.size() + (binary ? 5 : 3);
        if (size > space()) return 16;
        if (bytes[2] == 255) return 17;
        const auto low = [](size_t number) { return static_cast<unsigned char>(number & 255); };
        ByteArray wire{low(item.tag), low(item.tag >> 8), low(item.encoding)};
        if (binary) wire = wire + ByteArray{low(item.value.size()), low(item.value.size() >> 8)};
        return add(wire + item.value);
    }
};

// Appends of both kinds to a buffer of any size, checked after each.
void buildMessage(Input& input) {
    ExactBytes block(input.word() % 4096U);
    Model model{block.size(), {}};
    HostLinkLL buffer{block.data(), static_cast<uint32_t>(block.size()), 0};
    const uint16_t id = input.word();
    const bool list = input.flag();
    const unsigned kind = (id & 0x7FFF) > 63 ? 18 : isListId(id) != list ? 19 : block.size() < 3 ? 16 : 0;
    const auto begin = list ? hostLinkMessageUint16Init : hostLinkMessageVariantInit;
    require(begin(&buffer, id) == kind, "a message is begun by the order of checks");
    if (kind == 0) model.bytes = {static_cast<unsigned char>(id & 255), static_cast<unsigned char>(id >> 8), 0};
    while (!input.empty()) {
        const unsigned choice = input.byte();
        for (unsigned times = choice < 250 ? 1 : 100; times > 0; --times) {
            if (choice % 4 == 0) {
                const auto value = static_cast<uint16_t>(choice * 259U);
                require(hostLinkMessageUint16AddItem(&buffer, value) == model.addListItem(value), "a list item");
            } else {
                Item item{choice * 259U, choice % 4 == 1 ? 197 : 192 + choice % 20, {}};
                const size_t length =
                    item.encoding == 197 ? choice : fixedLength(static_cast<int>(item.encoding)).value_or(8);
                item.value = patternBytes(length);
                require(append(buffer, item) == model.addVariant(item), "an item");
            }
        }
        require(buffer.used == model.bytes.size(), "bytes used");
        require(slice(block.copy(), 0, buffer.used) == model.bytes, "what was appended");
        require(block.isUntouched(buffer.used), "a failed append writes nothing");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    if (input.flag()) {
        buildMessage(input);
    } else {
        readMessage(input);
    }
    return 0;
}
