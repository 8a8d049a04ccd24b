/// @file
/// The messages of tunnels: requests of either end and the answers to them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkVocabularyNumbers.h>

#include "MessageItems.h"

namespace hostlink::exchange {

/// What a request wants.
enum class TunnelCommand : uint8_t {
    Open = 1,   ///< connect; `position` is where the bytes of both directions begin to be counted
    Data = 2,   ///< bytes from `position` on
    Finish = 3, ///< no more bytes in this direction; counts as one byte, at `position`
    Close = 4   ///< the connection has broken: forget it
};

/// A request. The data stay the message's, or the sender's.
struct TunnelRequest {
    uint16_t connection = 0;
    TunnelCommand command = TunnelCommand::Data;
    uint32_t position = 0; ///< in this direction, modulo 2^32
    const uint8_t* data = nullptr;
    size_t size = 0;
};

struct TunnelAnswer {
    uint16_t connection = 0;
    TcpTunnelingResult result = TCP_Success;
    uint32_t position = 0; ///< of the byte that is expected next
    uint16_t room = 0;     ///< for how many from there on there is room
};

ByteArray writeTunnelRequest(const TunnelRequest& request);
/// None when anything in it has suffered on the way, or when it is none.
std::optional<TunnelRequest> readTunnelRequest(const ByteArray& message);

ByteArray writeTunnelAnswer(const TunnelAnswer& answer);
/// None when anything in it has suffered on the way, or when it is none.
std::optional<TunnelAnswer> readTunnelAnswer(const ByteArray& message);

/// The connection that any tunnelling message is about, read without asking for a checksum.
std::optional<uint16_t> connectionOf(const ByteArray& message);

/// Bytes of a request besides the data.
constexpr size_t tunnelOverheadBytes = messageHeaderBytes + (itemHeaderBytes + 2) + (itemHeaderBytes + 1) +
                                       (itemHeaderBytes + 4) + binaryHeaderBytes + (itemHeaderBytes + 4);

} // namespace hostlink::exchange
