/// @file
/// Message buffers and small messages for tests of the function core.
#pragma once

#include <algorithm>
#include <string>

#include <hostlink/HostLinkLib.h>

#include "support/Bytes.h"

constexpr uint16_t listId = MSG_GetState;
constexpr uint16_t variantId = MSG_SetState;

/// A message buffer over a block of exactly its capacity.
struct Buffer {
    ExactBytes block;
    HostLinkLL ll{};

    /// An empty buffer.
    explicit Buffer(size_t capacity) : block(capacity) { attach(0); }
    /// A received message: capacity and used are its size.
    explicit Buffer(const ByteArray& message) : block(message) { attach(message.size()); }
    explicit Buffer(const char* message) : Buffer(bytes(message)) {}
    /// A message with room to spare.
    Buffer(const ByteArray& message, size_t capacity) : block(capacity) {
        std::copy(message.begin(), message.end(), block.data());
        attach(message.size());
    }

    std::string message() const { return hex(ll.data, ll.used); }

private:
    void attach(size_t used) {
        ll.data = block.data();
        ll.capacity = static_cast<uint32_t>(block.size());
        ll.used = static_cast<uint32_t>(used);
    }
};

/// Calls that append one item of a given size, so that the order of their checks can be compared.
inline uint32_t addUint8(HostLinkLL* buffer, uint16_t tag, uint8_t value) {
    return hostLinkMessageVariantAddValue(buffer, tag, &value, ENC_Uint8);
}

inline uint32_t addNil(HostLinkLL* buffer) {
    return hostLinkMessageVariantAddValue(buffer, 7, nullptr, ENC_Nil);
}

/// A variant message of `count` "Nil" items with tag 0.
inline ByteArray nilMessage(size_t count) {
    ByteArray message = bytes("01 00");
    message.push_back(static_cast<unsigned char>(count));
    for (size_t i = 0; i < count; ++i) message = message + bytes("00 00 C0");
    return message;
}

/// A list message of `count` items, item i having the value i.
inline ByteArray listMessage(size_t count) {
    ByteArray message = bytes("02 00");
    message.push_back(static_cast<unsigned char>(count));
    for (size_t i = 0; i < count; ++i) {
        message.push_back(static_cast<unsigned char>(i));
        message.push_back(0);
    }
    return message;
}

inline bool isListNumber(unsigned id) {
    const unsigned low = id % 32;
    if (id >= 0x8000) return low == 3 || low == 5;
    return low == 2 || low == 3 || low == 5;
}
