/// @file
/// Times of a UART link over a pseudo terminal.
#pragma once

#include "HostProcess.h"

namespace bench {

/// The far sides, each for one subject. Made before the process has threads.
struct Hosts {
    HostProcess link;
    HostProcess rawUnderTheLock;
    HostProcess rawUnlocked;
    HostProcess paced{115200};
    HostProcess idle;
};

/// Registers `writeData` and the raw exchanges beside it, a paced line, and an idle link.
void registerLinkTimes(const Hosts& hosts);

} // namespace bench
