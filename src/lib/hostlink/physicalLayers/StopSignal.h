/// @file
/// What ends a watcher that sleeps in poll(2).
#pragma once

#include <descriptor/Descriptor.h>

/// Wakes a sleeper for its end: an event counter, and behind it a pipe whose end of file cannot fail. Not locked.
class StopSignal {
public:
    /// What the sleeper polls: the counter for input or urgent data, the pipe for whatever it reports.
    struct Ends {
        int counter;
        int pipe;
    };

    /// False, after an ERROR line: there is no descriptor left. `close` is the caller's then, too.
    bool make();
    bool isMade() const { return static_cast<bool>(counter); }
    Ends ends() const { return {counter.get(), pipeEnd.get()}; }
    /// Wakes the sleeper; an ERROR line when it took the pipe. Without effect when there is none.
    void raise();
    void close();

private:
    descriptor::Descriptor counter;
    descriptor::Descriptor pipeEnd;
    descriptor::Descriptor farEnd; // of the pipe: its closing is what the sleeper sees
};
