/// @file
/// The state of the rig, shared between the file system's threads, the control connections and the clock.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "RigState.h"

namespace busrig {

class Rig {
public:
    /// Starts the thread that keeps the slaves' time: not before a fork.
    explicit Rig(const SlaveFactory& slaveFactory);
    ~Rig();
    Rig(const Rig&) = delete;
    Rig& operator=(const Rig&) = delete;

    /// Calls `work(state, wakeups)` with the state locked, puts the interrupt lines where the slaves now want them, and
    /// wakes whoever waits for an edge after the lock is gone. `work` must not call back into this object.
    template <typename Work> auto access(Work&& work) {
        Wakeups wakeups;
        std::unique_lock<std::mutex> lock(mutex);
        auto result = work(state, wakeups);
        publish(lock, wakeups);
        return result;
    }

    /// One bus transaction; waits while the board is held, and for whoever is in its slave's place.
    BusResult transact(size_t board, const std::string& bus, std::vector<BusPhase>& phases);

    /// Waits until the count has reached `minimum`; false when that did not happen in time, nothing when there is no
    /// such count.
    std::optional<bool> waitForCount(size_t board, const std::string& name, uint64_t minimum,
                                     std::chrono::milliseconds timeout);

    /// The next phase for whoever is in the slave's place, once there is one; empty when there is none in time.
    std::string waitForPhase(size_t board, std::chrono::milliseconds timeout);

    /// Releases everybody who waits here; everything that would wait afterwards fails at once.
    void stop();

    /// Since the rig started.
    Time now() const;

private:
    void askStandIn(std::unique_lock<std::mutex>& lock, size_t board, const std::vector<BusPhase>& phases);
    bool awaitGiven(std::unique_lock<std::mutex>& lock, size_t board);
    void publish(std::unique_lock<std::mutex>& lock, Wakeups& wakeups);
    void keepTime();

    const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::mutex mutex;                ///< guards all below but the thread
    std::condition_variable changed; ///< any change of `state` or `stopping`
    std::condition_variable sooner;  ///< for the time keeper: it has to look before `looksNext`
    RigState state;
    bool stopping = false;
    std::optional<Time> looksNext; ///< when the time keeper does; none: when it is told
    std::thread timeKeeper;        ///< started last, joined by the destructor
};

} // namespace busrig
