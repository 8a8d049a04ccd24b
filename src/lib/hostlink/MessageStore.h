/// @file
/// The growable bytes behind a message object.
#pragma once

#include <cstddef>
#include <utility>

#include "ByteArray.h"
#include "HostLinkLib.h"

/// Owns the bytes of one message and keeps a `HostLinkLL` pointed at them, through copies, moves and changes of size.
/// The size of the store is the capacity; how much of it is message stands in the buffer's `used`.
/// An ordinary value: one thread at a time.
class MessageStore {
public:
    /// An empty message with room for `capacity` bytes, all zero.
    explicit MessageStore(size_t capacity) : bytes(capacity) { attach(); }

    /// The message that `message` holds, with no room to spare.
    explicit MessageStore(const ByteArray& message) : bytes(message), view{nullptr, 0, sizeOf(message)} { attach(); }

    MessageStore(const MessageStore& other) : bytes(other.bytes), view(other.view) { attach(); }
    MessageStore(MessageStore&& other) noexcept : bytes(std::move(other.bytes)), view(other.view) {
        attach();
        other.clear();
    }
    MessageStore& operator=(const MessageStore& other) {
        if (this != &other) *this = MessageStore(other);
        return *this;
    }
    MessageStore& operator=(MessageStore&& other) noexcept {
        if (this == &other) return *this;
        bytes = std::move(other.bytes);
        view = other.view;
        attach();
        other.clear();
        return *this;
    }
    ~MessageStore() = default;

    /// Grows by `delta` zero bytes; a negative `delta` shrinks, at most to nothing. The message length stays.
    void resize(long delta);

    /// Copy of the message bytes, as far as the store holds them.
    ByteArray message() const;

    HostLinkLL* buffer() { return &view; }
    const HostLinkLL* buffer() const { return &view; }

private:
    static uint32_t sizeOf(const ByteArray& message) { return static_cast<uint32_t>(message.size()); }
    void attach() {
        view.data = bytes.data();
        view.capacity = sizeOf(bytes);
    }
    void clear() noexcept {
        bytes.clear();
        view = {nullptr, 0, 0};
    }

    ByteArray bytes;
    HostLinkLL view{nullptr, 0, 0};
};
