/// @file
/// Lets log lines through until the process ends.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

namespace serialcomm {

/// Keeps a library's threads out of log4cplus once that is about to be destroyed.
///
/// `exit` and the end of `main` destroy what libraries hold while their threads run on. Libraries are left in the order
/// of their dependencies, ours before log4cplus: there the gate is closed. Lines that come later are dropped, lines
/// that are being written are waited for. Any thread; constructed before any code runs and never destroyed.
class LogGate {
public:
    /// How long the end waits for lines that are being written: an appender may be stuck for good, or wait for a lock
    /// of the thread that called `exit`.
    static constexpr std::chrono::milliseconds patience{500};

    /// One line's stay inside; false when the gate was closed.
    class Pass {
    public:
        explicit Pass(LogGate& through) : gate(through), entered(through.enter()) {}
        ~Pass() {
            if (entered) gate.leave();
        }
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
        explicit operator bool() const { return entered; }

    private:
        LogGate& gate;
        const bool entered;
    };

    /// Drops further lines and waits, within the limit, for those of other threads. The caller may be inside one: an
    /// appender may call `exit`.
    void closeAndWait(std::chrono::milliseconds limit = patience) {
        closed = true;
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (inside > insideHere && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(interval);
        }
    }

private:
    static constexpr std::chrono::milliseconds interval{1};

    // Counted first and looked at then, both in the one order that all threads agree on: either the line sees that the
    // gate is closed, or closing sees the line.
    bool enter() {
        ++inside;
        if (closed) {
            --inside;
            return false;
        }
        ++insideHere;
        return true;
    }
    void leave() {
        --insideHere;
        --inside;
    }

    static inline thread_local unsigned insideHere = 0; // lines of this thread
    std::atomic<unsigned> inside{0};
    std::atomic<bool> closed{false};
};

} // namespace serialcomm
