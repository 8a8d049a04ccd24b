#include "HostLinkUInt16Message.h"

namespace {

constexpr size_t initialCapacity = 50;
constexpr int growth = 14; // 140 bytes: 70 items

} // namespace

HostLinkUInt16Message::HostLinkUInt16Message(MessageId id)
    : store(initialCapacity), valid(hostLinkMessageUint16Init(store.buffer(), id) == HOSTLINK_SUCCESS) {}

HostLinkUInt16Message::HostLinkUInt16Message(const ByteArray& message)
    : store(message), valid(hostLinkMessageUint16Verify(store.buffer(), nullptr) == HOSTLINK_SUCCESS) {}

HostLinkUInt16Message& HostLinkUInt16Message::addValue(unsigned short value) {
    if (hostLinkMessageUint16AddItem(store.buffer(), value) == HOSTLINK_NO_ROOM) {
        resize(growth);
        hostLinkMessageUint16AddItem(store.buffer(), value);
    }
    return *this;
}

unsigned short HostLinkUInt16Message::get(int index, bool* ok) const {
    uint16_t value = 0;
    *ok =
        valid && hostLinkMessageUint16GetItem(store.buffer(), static_cast<uint8_t>(index), &value) == HOSTLINK_SUCCESS;
    return value;
}

unsigned short HostLinkUInt16Message::operator[](int index) const {
    return valid ? hostLinkMessageUint16Get(store.buffer(), static_cast<uint8_t>(index)) : uint16_t{0};
}

int HostLinkUInt16Message::size() const {
    return valid ? hostLinkMessageUint16ItemsCount(store.buffer()) : 0;
}

bool HostLinkUInt16Message::isValid() const {
    return valid;
}

void HostLinkUInt16Message::resize(int n) {
    store.resize(10L * n);
}

ByteArray HostLinkUInt16Message::serialize() const {
    return store.message();
}
