/// @file
/// The files of a recorder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <capture/Pcapng.h>
#include <capture/RingName.h>
#include <descriptor/Descriptor.h>

#include "hostlinkclient/Recorder.h"

namespace hostlink {

/// Writes one file, or one after another and removes the oldest. Each is whole at any time: it begins with the section
/// and has its interfaces before their packets, and what could not be written to its end is taken back. One thread at a
/// time.
class RecordedFiles {
public:
    /// @param writer names this recorder among those of all processes
    RecordedFiles(const RecordingRing& ring, std::string writer);
    explicit RecordedFiles(const RecordingFile& file);

    /// Begins the first file, and announces the recorder where it keeps a ring.
    /// @return what went wrong; empty when nothing did
    std::string begin();
    /// Puts packets behind the others, in the next file where this one is full.
    /// @param interfaces all of the recording, in the order of their numbers
    /// @return what went wrong, and the packets are lost; empty when nothing did
    std::string write(const capture::Bytes& packets, const std::vector<capture::Interface>& interfaces);

    const std::string& path() const { return present; }
    /// The most bytes to be written at once.
    std::size_t longestPiece() const;

private:
    bool isRing() const { return bytes > 0; }
    std::string beginRingFile();
    std::string beginFile(int fd);
    std::string append(const capture::Bytes& data);
    std::string problemWith(const std::string& what, int error) const;
    void makeRoom() const;
    void appendMissing(capture::Bytes& all, const std::vector<capture::Interface>& interfaces) const;
    void announce();
    uint64_t limit() const;

    const std::string folder;
    const uint64_t bytes;     // of the ring; 0: one file
    const std::string writer; // of the ring
    uint64_t lastNumber = 0;
    std::string present;                // path of the file
    descriptor::Descriptor file;        // of the present one; none after a failure to begin it
    uint64_t size = 0;                  // of what stands in it
    std::size_t interfacesOfFile = 0;   // how many it has
    descriptor::Descriptor announced{}; // a socket whose name says that the recorder runs
};

} // namespace hostlink
