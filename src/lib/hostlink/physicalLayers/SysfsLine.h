/// @file
/// The host's interrupt line, through sysfs.
#pragma once

#include <descriptor/Descriptor.h>

#include "InterruptLine.h"

/// Line `number` of /sys/class/gpio. An edge is served when the line is still low as its level is read, so that pulses
/// that come together count as one. The line stays exported when it is closed.
class SysfsLine : public InterruptLine {
public:
    explicit SysfsLine(int lineNumber) : number(lineNumber) {}

    /// Exports the line, sets direction and edge, and opens its value. A step of the set-up that fails is logged and
    /// the others are still taken: the line may have been set up before. False only when the value cannot be opened.
    ///
    /// A file of the line that may not be opened (EACCES) is tried again for a second, over all: right after the export
    /// the system may still have to give it to its group. The caller waits meanwhile.
    bool open() override;
    Wait beforeWait() override;
    Seen afterWait(short reported) override;
    bool isLow() override;
    void close() override;

private:
    const int number;
    descriptor::Descriptor value; // the open value file
};
