/// @file
/// The receiving end of a file sent in data-transfer messages.
#pragma once

#include <exchange/ChunkReceiver.h>
#include <hostlink/ByteArray.h>

namespace hostsim {

/// Takes the chunks of one file at a time and answers each, as the module's own receiver does, but that nothing is said
/// of data which are not there. The bytes are counted and checked, not kept.
class TransferSink {
public:
    TransferSink();
    /// @return the answer; the table in HostApplication.h says what is in it
    ByteArray take(const ByteArray& message);

private:
    hostlink::exchange::ChunkReceiver receiver;
};

} // namespace hostsim
