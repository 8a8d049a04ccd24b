/// @file
/// Lets calls into an object through until the object goes.
#pragma once

#include <condition_variable>
#include <mutex>

/// Counts the calls that are inside an object, so that its destructor can refuse new ones and wait for those.
/// Any thread. The gate itself must outlive the last call that asks it, for example by shared ownership.
class CallGate {
public:
    /// One call. Converts to false when the gate was closed already: the object must not be touched then.
    class Pass {
    public:
        explicit Pass(CallGate& through) : gate(through), entered(gate.enter()) {}
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
        ~Pass() {
            if (entered) gate.leave();
        }
        explicit operator bool() const { return entered; }

    private:
        CallGate& gate;
        const bool entered;
    };

    /// Refuses further calls.
    void close();

    /// Refuses further calls and waits until those inside have left. Not from inside a call: it would wait for itself.
    void closeAndWait();

private:
    bool enter();
    void leave();

    std::mutex mutex; // guards all below
    std::condition_variable allLeft;
    unsigned inside = 0;
    bool closed = false;
};
