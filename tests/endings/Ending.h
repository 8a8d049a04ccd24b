/// @file
/// Ending something in each of the states that it can be in: a link and a transport above it, or a client.
#pragma once

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <sys/types.h>

#include <gtest/gtest.h>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkTransportLayer.h>

#include "support/Signal.h"

/// Far more than anything here takes.
constexpr std::chrono::seconds patience{20};

/// Something that a program begins and ends, and whose far side the test plays. One round: `start`, `enter`, `end`,
/// `leave`.
class EndingSubject {
public:
    virtual ~EndingSubject() = default;
    virtual void start() = 0;
    /// Brings about the state and waits until it holds; false when it does not come.
    virtual bool enter() = 0;
    /// What a program does at its end, or what is left of that when it only destroys.
    virtual void end(bool withShutdown) = 0;
    /// How many of the program's functions have been called and have not returned.
    virtual int observersInside() const = 0;
    /// Waits for what the test itself has started; false when it does not end as it should.
    virtual bool leave() = 0;
};

/// What is going on when the end of a link comes.
enum class At {
    Idle,                     ///< right after the start, the threads wherever they are
    BlockedRead,              ///< every thread of the link sleeps
    WaitingForAnAnswer,       ///< a writer waits for the response to its packet
    InsideAnObserver,         ///< a message is with the application
    InTheMiddleOfAPacket,     ///< a packet has begun to come
    FloodedWithInput,         ///< packets come faster than they are read
    DeviceGone,               ///< the device has been taken away
    FarSideNotReading,        ///< what is written is not taken
    NeverStarted,             ///< made, with a transport above it
    Stopped,                  ///< its threads have ended before
    InitFailed,               ///< the start found no line
    WatcherGone,              ///< the thread at the line has left it, the other one waits for what it would bring
    WritersQueued,            ///< one writer is inside a transaction, others wait for the bus
    AnObserverWaitsForAWriter ///< a writer waits for its response, and an observer does not return before it has it
};
std::string nameOf(At state);
inline std::ostream& operator<<(std::ostream& out, At state) {
    return out << nameOf(state);
}
inline const auto everyState =
    testing::Values(At::Idle, At::BlockedRead, At::WaitingForAnAnswer, At::InsideAnObserver, At::InTheMiddleOfAPacket,
                    At::FloodedWithInput, At::DeviceGone, At::FarSideNotReading);

/// Those of one link only.
inline const auto busState =
    testing::Values(At::NeverStarted, At::Stopped, At::InitFailed, At::WatcherGone, At::WritersQueued);
inline const auto uartState = testing::Values(At::AnObserverWaitsForAWriter);

/// A stack whose far side the test plays. One round: `start`, `enter`, `end`, `leave`.
class EndingStack {
public:
    virtual ~EndingStack() = default;
    /// Makes link and transport and starts them, where the state asks for it.
    void start(At state);
    /// A link that is made and destroyed and never started.
    void makeAndDrop() { makeLink(); }
    /// Brings about the state and waits until it holds; false when it does not come.
    virtual bool enter(At state) = 0;
    /// What a program does at its end, or what is left of that when it only destroys. What would hold it up for ever,
    /// such as an observer that waits, is let go first.
    void end(bool withShutdown);
    /// How many observers have been called and have not returned.
    int observersInside() const { return inside; }
    /// Waits for what the test itself has started; false when it does not end as it should.
    bool leave();

protected:
    virtual std::unique_ptr<HostLinkPhysicalLayer> makeLink() = 0;
    /// For a start that is to fail.
    virtual void spoilStart() {}
    virtual void letGo() {}
    virtual void clearUp() {}

    /// A thread more that writes one packet, which nobody answers; false when it does not come to run.
    bool startWriter(const ByteArray& packet);
    /// From now on the link's observer waits until the writer has come back, but not for ever.
    void holdObserverUntilWriterReturns() { observersWaitForWriters = true; }
    /// From now on observers wait for the end to begin, and work on a little then.
    void holdObservers() { observersHeld = true; }

    std::unique_ptr<HostLinkPhysicalLayer> link;
    std::unique_ptr<HostLinkTransportLayer> transport;
    Signal observerEntered;
    std::atomic<pid_t> writerThread{0};

private:
    void packetReceived();
    void messageReceived();

    std::vector<std::future<WriteDataResponse>> written;
    std::atomic<bool> observersHeld{false};
    std::atomic<bool> observersWaitForWriters{false};
    std::atomic<int> inside{0};
    Signal endBegins;
    Signal writerReturned;
};

/// What one round may leave behind, beside no thread at all.
struct Remains {
    long descriptors = 0;
    long bytes = 0;
};
Remains countRemains();
inline Remains operator-(const Remains& after, const Remains& before) {
    return {after.descriptors - before.descriptors, after.bytes - before.bytes};
}

/// Rounds, every other one without a shutdown: each ends within a second and after its observers, and leaves exactly
/// `perRound` behind.
/// @param rounds HOSTLINK_ENDING_ROUNDS in the environment takes its place, where that is less; a hunt runs one
void endInState(EndingSubject& subject, const std::string& state, const Remains& perRound, int rounds = 100);

/// The same for a stack.
void endInState(EndingStack& stack, At state, const Remains& perRound);
