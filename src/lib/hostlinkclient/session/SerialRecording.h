/// @file
/// What the serial library carries, on its way into recordings.
#pragma once

#include "hostlinkclient/Recorder.h"

namespace hostlink {

/// Whether the serial library tells what it carries. Another one in place of ours need not.
bool canRecordSerialCalls();

/// As long as it lives a recorder gets what the serial library carries, where that tells. Any thread.
class SerialCalls {
public:
    explicit SerialCalls(Recorder::Run& recorder);
    ~SerialCalls() { leave(); }
    SerialCalls(const SerialCalls&) = delete;
    SerialCalls& operator=(const SerialCalls&) = delete;

    /// No more; and nobody is inside the recorder for it any more.
    void leave();

private:
    Recorder::Run& to;
};

} // namespace hostlink
