/// @file
/// A board whose interrupt line is watched through the character device of its GPIO chip.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "PlayedBoard.h"

namespace sweep {

/// Plays /dev and the chips in it, as the kernel's second GPIO interface documents them. A requested line is a pipe:
/// the events that the test writes there are read, and waited for, through the kernel itself. The bus is that of the
/// board.
class PlayedChip : public PlayedBoard {
public:
    struct Chip {
        std::string label;
        std::vector<std::string> lines; // by offset; names may be empty
        int openError = 0;              // errno value
        bool answers = true;            // else it is no chip after all
    };
    struct Request {
        std::string chip; // path
        std::uint32_t offset;
        std::uint64_t flags;
        std::uint32_t debounce; // microseconds; 0: not asked for
        std::string consumer;
        std::uint32_t queue;
    };

    PlayedChip();
    ~PlayedChip() override;

    Answer open(const char* path, int flags) override;
    Answer ioctl(int fd, unsigned long request, void* argument) override;
    Answer poll(pollfd* entries, std::size_t count, int timeout) override;
    std::string folder(const char* path) override;
    void closing(int fd) override;

    /// Puts a device file of this name in /dev. Before the link is started.
    void add(const std::string& name, const Chip& chip);
    /// The level goes down and up again so often, at once; `skipped` numbers before are not told, as after an overflow.
    void pulse(unsigned count = 1, unsigned skipped = 0);
    /// The same with the time of an earlier edge.
    void pulseAt(std::chrono::nanoseconds time);
    void setLevel(bool isHigh);
    /// The controller goes: the line reports that as soon as it is polled.
    void remove();
    /// Time on the clock of the events.
    std::chrono::nanoseconds clock();

    std::vector<Request> requests() const;
    bool isLineOpen() const;
    /// With which time-out the line was waited for last.
    int timeout() const;

    int requestError = 0;   // what a request answers; errno value
    bool isUsed = true;     // every line is, as the kernel tells
    std::string holder;     // ... by this consumer
    bool knowsLines = true; // else the kernel has no second interface

private:
    Answer requestLine(const Chip& chip, const std::string& path, void* argument);
    static void tellChip(const Chip& chip, const std::string& name, void* argument);
    Answer tellLine(const Chip& chip, void* argument) const;
    void report(std::chrono::nanoseconds time, unsigned count);

    const std::filesystem::path devices;  // what stands for /dev
    mutable std::mutex chipMutex;         // guards all below
    std::map<std::string, Chip> chips;    // by the name of the device file
    std::map<int, std::string> openChips; // name of the chip, by descriptor
    std::vector<Request> asked;
    int line = -1; // the link's end of the pipe
    int events = -1;
    bool high = true;
    unsigned number = 0; // of the last event
    int lastTimeout = 0;
};

} // namespace sweep
