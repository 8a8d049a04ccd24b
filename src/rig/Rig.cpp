#include "Rig.h"

#include <cerrno>

namespace busrig {

Rig::Rig(const SlaveFactory& slaveFactory) : state(slaveFactory), timeKeeper([this] { keepTime(); }) {}

Rig::~Rig() {
    stop();
    timeKeeper.join();
}

BusResult Rig::transact(size_t board, const std::string& bus, std::vector<BusPhase>& phases) {
    Wakeups wakeups;
    std::unique_lock<std::mutex> lock(mutex);
    ++state.waiting.at(board);
    changed.notify_all();
    changed.wait(lock, [&] { return stopping || !state.held.at(board); });
    --state.waiting.at(board);
    BusResult result;
    result.error = stopping ? EIO : 0;
    if (!stopping) result = state.transact(board, bus, phases, now());
    publish(lock, wakeups);
    return result;
}

std::optional<bool> Rig::waitForCount(size_t board, const std::string& name, uint64_t minimum,
                                      std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    if (state.counts(board).count(name) == 0) return std::nullopt;
    // Every count is always there, so that at() finds it again.
    return changed.wait_for(lock, timeout, [&] { return stopping || state.counts(board).at(name) >= minimum; }) &&
           !stopping;
}

void Rig::stop() {
    const std::lock_guard<std::mutex> lock(mutex);
    stopping = true;
    changed.notify_all();
}

Time Rig::now() const {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - start);
}

void Rig::publish(std::unique_lock<std::mutex>& lock, Wakeups& wakeups) {
    state.updateLines(now(), wakeups);
    changed.notify_all();
    lock.unlock();
    wakeAll(wakeups);
}

void Rig::keepTime() {
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopping) {
        Wakeups wakeups;
        state.updateLines(now(), wakeups);
        changed.notify_all(); // a line may have moved without anybody polling it
        if (!wakeups.empty()) {
            lock.unlock();
            wakeAll(wakeups);
            lock.lock();
            continue;
        }
        const std::optional<Time> deadline = state.nextDeadline(now());
        if (deadline) {
            changed.wait_until(lock, start + *deadline);
        } else {
            changed.wait(lock);
        }
    }
}

} // namespace busrig
