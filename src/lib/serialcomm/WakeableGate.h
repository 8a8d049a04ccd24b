/// @file
/// Lets an object be destroyed while other threads are inside its calls.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "Descriptor.h"

namespace serialcomm {

/// Counts the calls inside an object. Closing the gate refuses new ones, wakes those that wait in `poll` and waits
/// until the last has left; afterwards nobody else touches what the gate protects.
///
/// One thread opens and closes it; any thread passes.
class WakeableGate {
public:
    /// An event descriptor to wake calls with; none, with errno set, when the system gives none.
    static Descriptor makeWakeEvent();

    /// From now on calls get in.
    void open(Descriptor wakeEvent);
    /// Refuses, wakes, and returns when the last call has left; at once when none ever got in.
    void closeAndWait();

    /// Readable for ever once the gate is being closed: callers poll it beside their own descriptor. Valid for as long
    /// as the caller is inside.
    int wakeDescriptor() const { return wake.get(); }

    /// One call's stay inside; false when it was not let in.
    class Pass {
    public:
        explicit Pass(WakeableGate& through) : gate(through), entered(through.enter()) {}
        ~Pass() {
            if (entered) gate.leave();
        }
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
        explicit operator bool() const { return entered; }

    private:
        WakeableGate& gate;
        const bool entered;
    };

private:
    bool enter();
    void leave();
    bool signal() const;

    std::mutex mutex;             // guards admitting and inside
    std::condition_variable left; // with mutex: a call has left
    bool admitting = false;
    unsigned inside = 0;
    Descriptor wake; // set when the gate opens, not changed while calls are inside
};

} // namespace serialcomm
