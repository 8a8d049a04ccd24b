/// @file
/// Who else uses a serial port.
#pragma once

#include <string>

namespace serialcomm {

/// One WARN line about `device` for each other use of the open terminal `fd` that can be seen: the kernel's own
/// console, and programs that have it open, as far as /proc shows this user what they have open. They take bytes that
/// the far side sends, and send it others. A pseudo terminal is never looked at: its other users are no accident.
/// Nothing that fails here fails anything else.
void warnOfOtherUsers(int fd, const std::string& device);

} // namespace serialcomm
