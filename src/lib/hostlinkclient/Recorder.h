/// @file
/// A recording of what goes over the wires.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <hostlink/HostLinkExport.h>

namespace hostlink {

/// A ring of files, which always holds the end of what was recorded.
struct RecordingRing {
    std::string folder; ///< made where it is missing; all files of a recorder in it belong to the ring
    /// Of all files together, at most; not less than 262144. Several programs that record into one folder share it.
    uint64_t bytes = uint64_t{16} << 20;
};

/// One file, which grows for as long as there is something to record.
struct RecordingFile {
    std::string path; ///< overwritten
};

/// Records whatever this process exchanges with hosts, as docs/dissector.md defines it: bytes both ways with their
/// times, by wire; what a link makes of the host's answers; edges of interrupt lines. Given to clients as
/// `Options::recorder`.
///
/// It takes the bytes at the serial library's calls, of all wires of the process, where that library lets it
/// (`<serialcomm/SerialTap.h>`); where it does not, and on links of the program's own, it takes the packets of those
/// clients that have it. The recording says which is which.
///
/// Written by a thread of its own four times a second: a process that is killed loses no more than the last second of
/// its recording. No call of a link waits for the disk: what comes faster than it can be written is left out, and the
/// recording says how much. Copies are one; when the last goes, the rest is written. Any thread.
class HOSTLINK_EXPORT Recorder {
public:
    /// Begins. That nothing can be written is told by `problem()` and in the log, and tried again with whatever comes.
    /// @throw std::bad_alloc, std::system_error there is no memory or no thread to be had
    explicit Recorder(const RecordingRing& ring);
    explicit Recorder(const RecordingFile& file);
    Recorder(const Recorder& other);
    Recorder& operator=(const Recorder& other);
    ~Recorder();

    /// The file that is being written; empty when there is none.
    std::string file() const;
    /// Why what came last could not be written, for people; empty when it was.
    std::string problem() const;
    /// How many pieces were left out, for whatever reason.
    uint64_t lost() const;
    /// Waits until what was recorded so far is written, or has failed to be.
    void flush() const;

    class Run;
    /// For the library's own use.
    explicit Recorder(std::shared_ptr<Run> with);
    const std::shared_ptr<Run>& run() const { return inside; }

private:
    std::shared_ptr<Run> inside;
};

} // namespace hostlink
