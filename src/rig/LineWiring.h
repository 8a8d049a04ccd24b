/// @file
/// Who pulls at the GPIO lines of the rig.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "GpioLines.h"

namespace busrig {

/// The lines are pulled up, and a slave or a test pulls them low: a line is high when nobody pulls. A stuck line has
/// the level it is stuck at. Not locked, as `GpioLines`.
class LineWiring {
public:
    explicit LineWiring(GpioLines& gpioLines) : lines(gpioLines) {}

    void pullByHand(int line, bool low, Wakeups& wakeups) {
        at(line).handLow = low;
        apply(line, wakeups);
    }
    void pullBySlave(int line, bool low, Wakeups& wakeups) {
        at(line).slaveLow = low;
        apply(line, wakeups);
    }
    /// A slave's request from before anybody listened, on top of what it asks for now.
    void setServiceWanted(int line, bool wanted, Wakeups& wakeups) {
        at(line).serviceWanted = wanted;
        apply(line, wakeups);
    }
    /// Stuck at high (true) or low (false), or in order again.
    void setStuck(int line, std::optional<bool> level, Wakeups& wakeups) {
        at(line).stuck = level;
        apply(line, wakeups);
    }
    /// Nobody pulls any more.
    void release(int line, Wakeups& wakeups) {
        at(line) = Pull();
        apply(line, wakeups);
    }

private:
    struct Pull {
        bool handLow = false;
        bool slaveLow = false;
        bool serviceWanted = false;
        std::optional<bool> stuck;
    };

    Pull& at(int line) { return pulls.at(static_cast<size_t>(line)); }
    void apply(int line, Wakeups& wakeups) {
        const Pull& pull = at(line);
        lines.drive(line, pull.stuck.value_or(!pull.handLow && !pull.slaveLow && !pull.serviceWanted), wakeups);
    }

    GpioLines& lines;
    std::array<Pull, GpioLines::lineCount> pulls;
};

} // namespace busrig
