/// @file
/// The far side of a serial line in a process of its own, so that its time is not counted.
#pragma once

#include <string>

#include <sys/types.h>

namespace bench {

/// Answers every packet that comes over a pseudo terminal with a response frame that accepts it. To be made before the
/// process has threads.
class HostProcess {
public:
    /// Whether it is asked as well: then each message, which must ask for one state, is also answered with its value,
    /// and response frames are taken for that.
    enum class Kind { Accepting, Answering };

    /// With a baud rate, it answers when a line of that speed (10 bits a byte) would have carried packet and response.
    explicit HostProcess(long baudRate = 0, Kind kind = Kind::Accepting);
    ~HostProcess();
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    const std::string& slavePath() const { return path; }

private:
    int master;
    std::string path;
    pid_t process;
};

} // namespace bench
