/// @file
/// A file on its way to the host.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <exchange/ChunkSender.h>

#include "hostlinkclient/Transfer.h"
#include "hostlinkclient/session/Core.h"
#include "hostlinkclient/session/Pump.h"

namespace hostlink {

/// Lets a `ChunkSender` live on a thread of its own: its source may block.
class HOSTLINK_HIDDEN Sending::Run : public Companion, public std::enable_shared_from_this<Run> {
public:
    /// @param whatIsSent for people: "the file a.bin"
    Run(std::shared_ptr<Core> with, std::unique_ptr<exchange::ByteSource> from, exchange::SendingOptions sendingOptions,
        std::function<void(const Progress&)> progress, std::string whatIsSent);

    /// Begins; a failure where that is not possible.
    std::optional<Failure> start();
    void cancel();
    void close() override;

    bool waitFor(std::optional<std::chrono::milliseconds> time) const;
    Result<FileSent> result() const;
    Progress progress() const;

private:
    std::optional<exchange::Time> turn(exchange::Time now);
    void ask(const ByteArray& message);
    void answered(const Matcher::End& how);
    void tellProgress(exchange::Time now);
    void endWith(Result<FileSent> how);
    Result<FileSent> resultOf(const exchange::SendingReport& report) const;

    const std::shared_ptr<Core> core;
    const std::unique_ptr<exchange::ByteSource> source;
    const exchange::SendingOptions options;
    const std::function<void(const Progress&)> told;
    const std::string what;
    const uint64_t family;
    const exchange::Time began;

    // On the pump's thread.
    std::optional<exchange::ChunkSender> sender;
    uint64_t chunksTold = 0;
    Session::Handle watching;

    mutable std::mutex mutex; // guards the two below
    mutable std::condition_variable ended;
    std::optional<Result<FileSent>> end;
    Progress far;

    Pump pump; // the last: its thread uses all the others
};

} // namespace hostlink
