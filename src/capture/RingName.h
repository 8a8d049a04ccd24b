/// @file
/// How the files of a recorder's ring are named, and how a running recorder says where they are.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace capture {

/// A file of a ring: "hostlink-000012-4711.pcapng". All files of a folder are numbered on, whoever writes them.
struct RingFile {
    uint64_t number = 0;
    std::string writer; ///< the process, and behind a point which of its recorders where it has had several: "4711.2"
};

std::string nameOf(const RingFile& file);
/// None where a file is not named like that.
std::optional<RingFile> ringFileOf(const std::string& name);

/// A recorder that runs.
struct RunningRecorder {
    std::string writer; ///< as in the names of its files
    std::string folder; ///< from the root
};

/// The name of an abstract socket that a recorder holds for as long as it runs: the kernel lists it for everybody and
/// takes it away with the process, however that ends. None when the folder's name is too long for one.
std::optional<std::string> announcementOf(const RunningRecorder& recorder);
/// The recorder of a line of /proc/net/unix; none where it is another socket's.
std::optional<RunningRecorder> runningRecorderOf(const std::string& line);

} // namespace capture
