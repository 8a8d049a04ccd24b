/// @file
/// One direction of a tunnelled connection, where it ends.
#pragma once

#include <cstddef>
#include <cstdint>

#include <hostlink/ByteArray.h>

#include "TunnelMessages.h"

namespace hostlink::exchange {

/// Takes the bytes of requests in order, each once, as many as there is room for, and says which one it expects next.
/// Pure; one thread at a time.
class TunnelIncoming {
public:
    TunnelIncoming(size_t buffer, uint32_t firstPosition) : capacity(buffer), expected(firstPosition) {}

    /// `Data` or `Finish`.
    void take(const TunnelRequest& request);

    /// What is to be written to the socket.
    const ByteArray& waiting() const { return bytes; }
    /// The first `count` bytes have been written.
    /// @return whether the other end has been told that there was no room and is to be told that there is some
    bool written(size_t count);

    uint32_t position() const { return expected; }
    /// What the other end is told: none before a quarter of the buffer is free, so that it does not send crumbs.
    uint16_t room() const;
    /// The other end has sent its last byte.
    bool finished() const { return end; }

private:
    size_t capacity;
    uint32_t expected;
    ByteArray bytes;
    bool end = false;
    bool starved = false;
};

} // namespace hostlink::exchange
