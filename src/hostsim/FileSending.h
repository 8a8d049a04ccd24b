/// @file
/// Files that the host sends to the module.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <exchange/ChunkSender.h>

#include "HostApplication.h"
#include "HostTime.h"
#include "SimulatedHost.h"

namespace hostsim {

/// How a file has ended. "Cancelled" is by `abort()`, "refused" by the module.
struct SentFile {
    std::string name;
    hostlink::exchange::SendingReport report;
};

/// For people and programs: "complete", "refused by the module".
const char* nameOf(hostlink::exchange::TransferEnd end);
/// One line: "demo.bin: complete, 5000 bytes, checksum 0x1234abcd, 2 chunks sent again".
std::string textOf(const SentFile& file);

/// Sends one file after another, in chunks that fill the packets of its host, with the faults of `FaultOptions` that
/// concern chunks. A service of the host's application. Knows no file, no thread and no clock; one thread at a time.
///
/// Use: `advance()` after everything that happens to the host, and when `deadline()` has come.
class FileSending : public HostService {
public:
    /// @param simulatedHost not owned, must live longer
    explicit FileSending(SimulatedHost& simulatedHost);
    FileSending(const FileSending&) = delete;
    FileSending& operator=(const FileSending&) = delete;
    ~FileSending() override;

    /// Sends it when those before it have ended.
    void send(const std::string& name, ByteArray content);
    /// Ends the file under way, of which the module is told, and forgets those behind it.
    void abort();

    void advance(Time now);
    std::optional<Time> deadline() const;

    /// Those that have ended since the last call.
    std::vector<SentFile> takeEnded();

    std::optional<std::vector<ByteArray>> handle(const ByteArray& message) override;

private:
    class Content;
    class Transfer;

    void begin(Time now);
    void put(const ByteArray& message, Time now);

    SimulatedHost& host;
    std::deque<std::pair<std::string, ByteArray>> waiting;
    std::unique_ptr<Transfer> transfer; // of the file under way
    std::vector<ByteArray> answers;     // of the module, not looked at yet
    uint64_t chunks = 0;                // sent so far, those again among them
    bool isOnItsWay = false;            // a chunk, in the host's queue or unanswered by the module's link
    uint64_t givenUpBefore = 0;         // of the host's messages, when that chunk was put there
    bool isAborted = false;
    std::vector<SentFile> ended;
};

} // namespace hostsim
