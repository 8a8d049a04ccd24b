/// @file
/// Files that the host sends.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <exchange/ChunkReceiver.h>

#include "hostlinkclient/Transfer.h"
#include "hostlinkclient/session/Core.h"
#include "hostlinkclient/session/Pump.h"

namespace hostlink {

/// Lets a `ChunkReceiver` live on a thread of its own: the program's functions may block.
class HOSTLINK_HIDDEN Receiving::Run : public Companion,
                                       public exchange::ByteSink,
                                       public std::enable_shared_from_this<Run> {
public:
    Run(std::shared_ptr<Core> with, ReceiveOptions receiveOptions);

    /// Begins; a failure where that is not possible.
    std::optional<Failure> start();
    void cancel();
    /// Ends for good.
    void finish();
    void close() override;

    // Of the sink, on the pump's thread.
    bool begin(const std::string& name, std::optional<uint32_t> size) override;
    bool write(const uint8_t* data, size_t size) override;
    void end(const exchange::ReceivingReport& report) override;

private:
    void take(const ByteArray& message);
    void cancelNow();
    void tellEnd();

    const std::shared_ptr<Core> core;
    const ReceiveOptions options;
    exchange::ChunkReceiver receiver;              // on the pump's thread, as is the next
    std::optional<exchange::ReceivingReport> over; // of a file that has ended and whose end was not told yet
    Session::Handle listening;                     // set before that starts, ended by finish()
    Pump pump;                                     // the last: its thread uses all the others
};

} // namespace hostlink
