/// @file
/// The host's interrupt line, through the character device of its GPIO chip.
#pragma once

#include <cstdint>
#include <string>

#include <descriptor/Descriptor.h>

#include "InterruptLine.h"
#include "hostlink/machines/LineEvents.h"

/// A line requested from the kernel's second GPIO interface (Linux 5.10), for falling edges. Every edge is an event and
/// served, whatever the level is by then. The request, and with it the line, is given back when this is closed.
///
/// A kernel may not wake a watcher whose chip goes away (6.1 does not): the watcher looks once a minute.
class ChipLine : public InterruptLine {
public:
    struct Settings {
        std::string chip; ///< path of the character device, or the chip's label or name
        std::string name; ///< of the line; empty: go by the offset
        int offset;       ///< of the line on the chip
        std::string bias; ///< "pull-up", "pull-down", "disabled" or, as it is, empty
        int debounce;     ///< microseconds; 0: none
    };

    explicit ChipLine(Settings lineSettings);

    /// False, in this order: a setting is not known; there is no such chip, it cannot be opened, or several have this
    /// label; it has no such line, or several of this name; the line is held by somebody, whom the ERROR line names, or
    /// cannot interrupt; its level cannot be read.
    bool open() override;
    Wait beforeWait() override;
    Seen afterWait(short reported) override;
    bool isLow() override;
    void close() override;

private:
    bool request(std::uint64_t flags);
    bool countLevel();
    Seen readEvents(std::size_t edges);
    Seen lost(int error, std::size_t edges) const;

    const Settings settings;
    std::string line;               // how log lines name it
    descriptor::Descriptor watched; // of the request
    LineEvents events;              // the watcher's once the line is open
    std::size_t untold = 0;         // edges that the watcher has not been told of yet; as above
};
