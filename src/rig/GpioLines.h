/// @file
/// GPIO lines as Linux shows them through sysfs: levels, edges and the events that a `poll` on a value file reports.
/// Pure: no file system, no thread, no lock. The owner serialises the calls.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "KernelSide.h"

namespace busrig {

/// Somebody who is blocked in `poll` on a value file. Destroying it without `wake()` forgets the wait.
class PollWaiter {
public:
    virtual ~PollWaiter() = default;
    virtual void wake() = 0;
};

/// Waiters that an event has released. Whoever gets them wakes them after letting go of the lock around the lines.
using Wakeups = std::vector<std::unique_ptr<PollWaiter>>;

void wakeAll(Wakeups& wakeups);

enum class GpioAttribute { Direction, Edge, Value };

/// One open descriptor of an attribute file of an exported line.
struct GpioFile {
    int line = -1;
    GpioAttribute attribute = GpioAttribute::Value;
    /// Which export of the line the file belongs to: the file is dead once the line is unexported, even if the line is
    /// exported again.
    uint64_t exportSerial = 0;
    /// Events of the line that the last read has covered.
    uint64_t seenEvents = 0;
    std::unique_ptr<PollWaiter> waiter;
};

class GpioLines {
public:
    static constexpr int lineCount = 64;

    /// What the write to `export` gives: 0, EINVAL (no such line) or EBUSY (exported already), as a negative number.
    /// The line has the direction that it was left with; nobody is interested in its edges.
    int exportLine(int line);
    /// What the write to `unexport` gives: 0, or -EINVAL when the line is not exported. Files that are still open
    /// report an event and ENODEV to whoever asks from now on; who sleeps in `poll` is not woken, as in the kernel.
    int unexportLine(int line);
    /// An edge comes, and the line has been unexported before anybody can look: who sleeps wakes up, and finds it gone.
    int unexportAtAnEdge(int line, Wakeups& wakeups);
    bool isExported(int line) const;
    static bool isNumber(int line) { return line >= 0 && line < lineCount; }

    /// Without its controller a line cannot be exported; what was exported is, for its files, as after an unexport.
    void setController(bool there);
    bool hasController() const { return controller; }

    /// All lines inputs, none exported, the controller there.
    void reset();

    /// From now on levels go to the kernel as well, and so does what else is done to lines from outside. The kernel has
    /// the files then; the lines here are exported for good and count the edges. Not owned, lives longer.
    void lead(KernelSide& kernelSide);

    /// The outside world drives an input.
    void drive(int line, bool high, Wakeups& wakeups);
    bool level(int line) const { return levelOf(at(line)); }
    /// Falling edges that an armed line has seen since it was exported.
    uint64_t fallingEdges(int line) const { return at(line).fallingEdges; }
    /// Value files that are open, and that have been closed.
    size_t openFiles(int line) const { return at(line).open.size(); }
    uint64_t closedFiles(int line) const { return at(line).closedFiles; }

    /// The file stays where it is and known here until `close`. The line is exported.
    void open(GpioFile& file, int line, GpioAttribute attribute);
    void close(GpioFile& file);
    /// At most `size` bytes from `offset`; a negative errno when the line has gone.
    int read(GpioFile& file, char* buffer, size_t size, size_t offset);
    /// The bytes taken (all), or a negative errno.
    int write(GpioFile& file, const std::string& text);
    /// The events that are pending now. The waiter, if any, replaces the earlier one and is released by the next event.
    unsigned poll(GpioFile& file, std::unique_ptr<PollWaiter> waiter);

private:
    struct Line {
        uint64_t exportSerial = 0;
        bool exported = false;
        bool output = false;
        bool drivenHigh = true; // by the outside world: the board pulls its lines up
        bool outputHigh = false;
        std::string edge = "none";
        /// Counts from 1 and a file starts at 0, so that the first poll after opening reports an event, as sysfs does.
        uint64_t events = 1;
        uint64_t fallingEdges = 0;
        uint64_t closedFiles = 0;
        std::set<GpioFile*> open; // value files only: they alone are polled

        /// Nobody is told of its edges any more.
        void giveBack() {
            exported = false;
            edge = "none";
        }
    };

    bool exists(int line) const { return controller && isNumber(line); }
    Line& at(int line) { return lines.at(static_cast<size_t>(line)); }
    const Line& at(int line) const { return lines.at(static_cast<size_t>(line)); }
    static bool levelOf(const Line& line) { return line.output ? line.outputHigh : line.drivenHigh; }
    /// Announces the edge, if there is one, from a level that the line had before it was changed.
    static void levelChanged(Line& line, bool wasHigh, Wakeups& wakeups);
    /// What stands in for the program's files while a kernel has them.
    void countEdges();
    bool isGone(const GpioFile& file) const;
    std::string text(const GpioFile& file) const;
    static int writeDirection(Line& line, const std::string& text);
    static int writeEdge(Line& line, const std::string& text);
    static void notify(Line& line, Wakeups& wakeups);

    std::array<Line, lineCount> lines;
    bool controller = true;
    KernelSide* kernel = nullptr; ///< or none
};

} // namespace busrig
