/// @file
/// What a host does with a message.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <hostlink/ByteArray.h>
#include <hostlinkclient/Value.h>

#include "HostStates.h"
#include "TransferSink.h"

namespace hostsim {

/// A part of the host that lives where there are sockets and files. It takes what it knows before the application does.
class HostService {
public:
    virtual ~HostService() = default;
    /// @return what answers the message; none when it is not this service's
    virtual std::optional<std::vector<ByteArray>> handle(const ByteArray& message) = 0;
    /// A message of the host's is through: the module has acknowledged all of it, or it was given up.
    virtual void finished(const ByteArray& /*message*/, bool /*acknowledged*/) {}
};

// The rows of a table stay one a line.
// clang-format off
/// Takes one message and gives the messages that answer it, in the order in which they are sent. One thread at a time.
///
/// | message | answer |
/// |---|---|
/// | "SetStateMessage" | each item is held. "SetStateResponseMessage" with the same tags and the values now held; then, when states that the module has subscribed to changed, one "StateChangedMessage" with those |
/// | "GetStateMessage" | "GetStateResponseMessage" with one item for each id, in order; "Nil" for a state without a value |
/// | "SubscribeStateMessage" | "SubscribeStateResponseMessage" with the same ids. From now on each change of these states is told by "StateChangedMessage" |
/// | "UnsubscribeStateMessage" | "UnsubscribeStateResponseMessage" with the same ids |
/// | "DataTransfer" | "DataTransferResponseMessage", see below |
/// | "TcpTunnelingMessage" | "TcpTunnelingResponseMessage" with `TCP_Connection` as it came and `TCP_Data` as Uint8, see below |
/// | "StateChangedMessage", "InputEventMessage" | none |
/// | any other request, and a message that cannot be read | "UnsupportedMessageResponse" without items |
/// | any response | none: a response is never answered |
///
/// A message of which one item cannot be read has no effect at all.
///
/// Tunnels. The answer's `TCP_Data` is `TCP_Success`; `TCP_InvalidConnection` when the request has no `TCP_Connection`;
/// `TCP_InvalidMessage` when it has neither binary `TCP_Data` nor `TCP_Command`. The far end of every tunnel is an echo:
/// the data comes back in a "TcpTunnelingMessage" of the host. A service that is attached can be another one.
///
/// Data transfers. `DTT_FileName` begins a transfer and ends one that is under way. The answer to each chunk holds, in
/// this order: `DTT_SequenceNum` as it came; `DTT_DataCRC` (Uint32), the checksum of the `DTT_Data` of this message
/// padded with zeros to a multiple of four bytes; and after a chunk that carries `DTT_LastChunk`: `DTT_LastChunk`
/// (Nil), `DTT_FileSize` (Uint32) with the bytes received, and a second `DTT_DataCRC` with the checksum of the file,
/// that is of all chunks, each padded so, as one block.
///
/// - A chunk whose own `DTT_DataCRC` differs from the checksum of its data is not taken; the sender sees a checksum
///   other than its own in the answer and may send the chunk again.
/// - A chunk with the sequence number and the checksum of the chunk taken last is answered again and not taken twice.
/// - A chunk without a transfer, a chunk out of sequence, and a message with `DTT_AbortTransfer`: the transfer is
///   dropped, and the answer ends with `DTT_AbortTransfer` (Nil).
// clang-format on
class HostApplication {
public:
    explicit HostApplication(HostStates states = HostStates::afterPowerOn());

    /// A message from the module.
    std::vector<ByteArray> handle(const ByteArray& message);

    /// A message to the module is through; its service is told.
    void finished(const ByteArray& message, bool acknowledged) {
        for (HostService* service : services) service->finished(message, acknowledged);
    }

    /// Has a service see every message first. It stays the caller's and lives longer.
    void attach(HostService& service) { services.push_back(&service); }

    /// The host changes a state by itself; the messages that tell the module.
    std::vector<ByteArray> setState(uint16_t id, const hostlink::Value& value);

    /// Somebody presses and releases a button: an "InputEventMessage" with `BUT_KeyPressed`, another with
    /// `BUT_KeyReleased`, both with the button's number as Uint16.
    static std::vector<ByteArray> press(uint16_t button);

    /// Events nobody asked for: "InputEventMessage" with `BUT_KeyRepeated` and a Uint32 counting up from 0.
    static std::vector<ByteArray> burst(unsigned count);

    /// The module starts over: nothing is subscribed any more.
    void moduleReset() { held.unsubscribeAll(); }

    const HostStates& states() const { return held; }

private:
    std::vector<ByteArray> setStates(const ByteArray& message);
    std::vector<ByteArray> getStates(const ByteArray& message) const;
    std::vector<ByteArray> subscribe(const ByteArray& message);
    std::vector<ByteArray> unsubscribe(const ByteArray& message);

    HostStates held;
    TransferSink sink;
    std::vector<HostService*> services;
};

} // namespace hostsim
