/// @file
/// Recorders that run, and what they write.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <capture/PcapngReader.h>
#include <capture/RingName.h>
#include <descriptor/Descriptor.h>

#include "CaptureSink.h"

namespace command {

/// All recorders with a ring, of all processes.
std::vector<capture::RunningRecorder> runningRecorders();

/// Goes along with a recorder, from file to file of its ring.
class Follower {
public:
    /// What has been written before is passed over.
    explicit Follower(capture::RunningRecorder followed);

    /// Hands on what has been written since.
    /// @return false when it has ended and everything is handed on, or its files cannot be read; see `problem()`
    bool follow(CaptureSink& into);
    const std::string& problem() const { return wrong; }

private:
    void readOn(CaptureSink* into);
    bool hasNext() const;
    bool openNext();
    void handOn(const capture::Packet& packet, CaptureSink& into);

    const capture::RunningRecorder recorder;
    uint64_t number = 0; // of the file that is read; 0: none yet
    descriptor::Descriptor file;
    capture::PcapngReader reader;
    std::map<uint32_t, uint32_t> interfaces; // of the reader and of what is written
    std::string wrong;
};

} // namespace command
