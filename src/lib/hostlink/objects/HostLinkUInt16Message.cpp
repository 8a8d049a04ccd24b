#include "hostlink/HostLinkUInt16Message.h"

#include "MessageStore.h"

namespace {

constexpr size_t initialStoreSize = 50;
constexpr int growth = 14; // 140 bytes: 70 items

} // namespace

HostLinkUInt16Message::HostLinkUInt16Message(MessageId id) : buffer{}, store(initialStoreSize), valid(false) {
    hostlink::attachStore(buffer, store, initialStoreSize);
    valid = hostLinkMessageUint16Init(&buffer, id) == HOSTLINK_SUCCESS;
}

HostLinkUInt16Message::HostLinkUInt16Message(const ByteArray& message)
    : buffer{nullptr, 0, static_cast<uint32_t>(message.size())}, store(message), valid(false) {
    hostlink::attachStore(buffer, store, store.size());
    valid = hostLinkMessageUint16Verify(&buffer, nullptr) == HOSTLINK_SUCCESS;
}

HostLinkUInt16Message::HostLinkUInt16Message(const HostLinkUInt16Message& other)
    : HostLinkMessageSerializable(other), buffer(other.buffer), store(other.store), valid(other.valid) {
    hostlink::attachStore(buffer, store, other.buffer.capacity);
}

HostLinkUInt16Message::HostLinkUInt16Message(HostLinkUInt16Message&& other) noexcept : buffer{}, valid(other.valid) {
    hostlink::takeStore(buffer, store, other.buffer, other.store);
}

HostLinkUInt16Message& HostLinkUInt16Message::operator=(const HostLinkUInt16Message& other) {
    if (this != &other) *this = HostLinkUInt16Message(other);
    return *this;
}

HostLinkUInt16Message& HostLinkUInt16Message::operator=(HostLinkUInt16Message&& other) noexcept {
    if (this == &other) return *this;
    hostlink::takeStore(buffer, store, other.buffer, other.store);
    valid = other.valid;
    return *this;
}

HostLinkUInt16Message::~HostLinkUInt16Message() = default;

HostLinkUInt16Message& HostLinkUInt16Message::addValue(unsigned short value) {
    if (hostLinkMessageUint16AddItem(&buffer, value) == HOSTLINK_NO_ROOM) {
        resize(growth);
        hostLinkMessageUint16AddItem(&buffer, value);
    }
    return *this;
}

unsigned short HostLinkUInt16Message::get(int index, bool* ok) const {
    uint16_t value = 0;
    *ok = valid && hostLinkMessageUint16GetItem(&buffer, static_cast<uint8_t>(index), &value) == HOSTLINK_SUCCESS;
    return value;
}

unsigned short HostLinkUInt16Message::operator[](int index) const {
    return valid ? hostLinkMessageUint16Get(&buffer, static_cast<uint8_t>(index)) : uint16_t{0};
}

int HostLinkUInt16Message::size() const {
    return valid ? hostLinkMessageUint16ItemsCount(&buffer) : 0;
}

bool HostLinkUInt16Message::isValid() const {
    return valid;
}

void HostLinkUInt16Message::resize(int n) {
    hostlink::resizeStore(buffer, store, 10L * n);
}

ByteArray HostLinkUInt16Message::serialize() const {
    return hostlink::messageIn(buffer);
}
