/// @file
/// Files to the host and from it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <string>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkExport.h>
#include <hostlinkclient/Result.h>

namespace hostlink {

/// How far a transfer has come.
struct Progress {
    uint64_t bytes = 0;                            ///< that the other end has acknowledged
    std::optional<uint64_t> total;                 ///< where it is known
    double bytesPerSecond = 0;                     ///< over the last five seconds
    std::optional<std::chrono::milliseconds> left; ///< at that speed
};

/// How a file is sent. All times are longer than 0.
struct SendOptions {
    using Milliseconds = std::chrono::milliseconds;

    /// What the file is called on the host; empty: the last part of its path.
    std::string name;
    /// Data bytes at a time, a multiple of four up to 64000, as far as 256 packets carry them; 0: about a thousand,
    /// filling the link's packets.
    std::size_t chunk = 0;
    /// How long the host may take to answer a chunk before it is sent again.
    Milliseconds answerTime{1000};
    /// How long the host may acknowledge no chunk at all, times without a link included.
    Milliseconds patience{30000};
    /// How often the file is begun anew at a host that has lost it on the way.
    int restarts = 3;
    /// Told after each chunk, on the transfer's thread.
    std::function<void(const Progress&)> progress;
};

/// A file that has arrived.
struct FileSent {
    uint64_t bytes = 0;
    uint32_t checksum = 0; ///< of all of it, which the host says it has too
    uint64_t chunks = 0;
    uint64_t repeated = 0; ///< chunks that were sent again
    int restarts = 0;      ///< how often it was begun anew
    std::chrono::milliseconds took{0};
};

/// A file on its way to the host. Copies are one; when the last goes the transfer goes on.
class HOSTLINK_EXPORT Sending {
public:
    Sending(const Sending& other);
    Sending& operator=(const Sending& other);
    ~Sending();

    /// Waits for the end.
    Result<FileSent> wait() const;
    /// Waits for the end, but not longer; whether it has ended.
    bool waitFor(std::chrono::milliseconds time) const;
    Progress progress() const;
    /// Ends it and tells the host.
    void cancel() const;

    class Run;
    /// For the library's own use.
    explicit Sending(std::shared_ptr<Run> with);

private:
    std::shared_ptr<Run> run;
};

/// A file that the host sends.
struct IncomingFile {
    std::string name;             ///< as the host says: anything, also with slashes in it
    std::optional<uint32_t> size; ///< where the host says it
};

/// How it ended.
enum class FileEnd {
    Complete,  ///< all chunks have come, their checksums agree, and so does the number of bytes where it was said
    Damaged,   ///< another number of bytes than the host has said
    Aborted,   ///< by the host
    Cancelled, ///< by the program, or the client was closed
    Silent,    ///< the host has stopped sending
    Unwritable ///< `write` returned false
};

/// The enumerator's name.
HOSTLINK_EXPORT const char* nameOf(FileEnd end);

struct ReceivedFile {
    std::string name;
    FileEnd end = FileEnd::Complete;
    uint64_t bytes = 0;
    uint32_t checksum = 0;
};

/// What is done with files that the host sends. All are called on a thread of their own, one after another, and may
/// block for as long as the host waits for an answer; they must not call `Client::close()`.
struct ReceiveOptions {
    /// A file begins; false refuses it. Without it, all are taken.
    std::function<bool(const IncomingFile&)> begin;
    /// The next bytes of it; false ends it.
    std::function<bool(const unsigned char* data, std::size_t size)> write;
    /// It has ended; once for each that has begun.
    std::function<void(const ReceivedFile&)> end;
    /// How long the host may take from chunk to chunk, times without a link included.
    std::chrono::milliseconds patience{30000};
};

/// Takes files until the last copy goes.
class HOSTLINK_EXPORT Receiving {
public:
    Receiving();
    Receiving(const Receiving& other);
    Receiving& operator=(const Receiving& other);
    ~Receiving();

    /// Ends the file under way, if any; the host is told when it sends the next chunk.
    void cancel() const;
    /// Takes no more files.
    void end();

    class Run;
    /// For the library's own use.
    explicit Receiving(std::shared_ptr<Run> with);

private:
    std::shared_ptr<Run> run;
};

} // namespace hostlink
