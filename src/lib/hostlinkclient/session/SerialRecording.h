/// @file
/// What the serial library carries, on its way into recordings.
#pragma once

#include "hostlinkclient/Recorder.h"

namespace hostlink {

/// Whether the serial library tells what it carries. Another one in place of ours need not.
bool canRecordSerialCalls();

/// A recorder's place among those that get what the serial library carries, where that tells. Any thread.
class SerialCalls {
public:
    explicit SerialCalls(Recorder::Run& recorder) : to(recorder) {}
    ~SerialCalls() { leave(); }
    SerialCalls(const SerialCalls&) = delete;
    SerialCalls& operator=(const SerialCalls&) = delete;

    /// From now on the recorder gets it.
    void enter();
    /// No more; and nobody is inside the recorder for it any more.
    void leave();

private:
    Recorder::Run& to;
};

} // namespace hostlink
