#include "Rig.h"

#include <cerrno>
#include <utility>

namespace busrig {

namespace {

/// Whoever is in a slave's place and has gone does not keep the bus for longer.
constexpr std::chrono::seconds standInPatience{10};

} // namespace

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
    askStandIn(lock, board, phases);
    BusResult result;
    result.error = stopping ? EIO : 0;
    if (!stopping) result = state.transact(board, bus, phases, now());
    publish(lock, wakeups);
    return result;
}

/// Has whoever is in the slave's place say what will be read; what is left is a transaction with a script. Other
/// transactions of the board wait meanwhile.
void Rig::askStandIn(std::unique_lock<std::mutex>& lock, size_t board, const std::vector<BusPhase>& phases) {
    StandIn& standIn = state.standIns.at(board);
    changed.wait(lock, [&] { return stopping || !standIn.isBusy; });
    if (!standIn.isInPlace) return;
    standIn.isBusy = true;
    for (const BusPhase& phase : phases) {
        standIn.told.push_back(phase.isRead ? "r " + std::to_string(phase.bytes.size()) : "w " + toHex(phase.bytes));
        changed.notify_all();
        if (phase.isRead && !awaitGiven(lock, board)) break;
    }
    standIn.isBusy = false;
}

/// False when the transaction has failed.
bool Rig::awaitGiven(std::unique_lock<std::mutex>& lock, size_t board) {
    StandIn& standIn = state.standIns.at(board);
    standIn.isAsked = true;
    const bool ended = changed.wait_for(lock, standInPatience,
                                        [&] { return stopping || !standIn.isInPlace || standIn.given.has_value(); });
    standIn.isAsked = false;
    if (standIn.given) state.port(board).scriptReply(*std::exchange(standIn.given, std::nullopt));
    if (!ended) state.port(board).scriptError(ETIMEDOUT);
    return ended;
}

std::string Rig::waitForPhase(size_t board, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    auto& told = state.standIns.at(board).told;
    if (!changed.wait_for(lock, timeout, [&] { return stopping || !told.empty(); }) || told.empty()) return "";
    std::string phase = std::move(told.front());
    told.pop_front();
    return phase;
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
    sooner.notify_all();
}

Time Rig::now() const {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - start);
}

// The time keeper is waked where it would look too late, and not for each access, of which few set a time.
void Rig::publish(std::unique_lock<std::mutex>& lock, Wakeups& wakeups) {
    state.updateLines(now(), wakeups);
    changed.notify_all();
    const std::optional<Time> due = state.nextDeadline(now());
    const bool isSooner = due && (!looksNext || *due < *looksNext);
    if (isSooner) looksNext = due;
    lock.unlock();
    if (isSooner) sooner.notify_one();
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
        looksNext = state.nextDeadline(now());
        if (looksNext) {
            const auto at = start + *looksNext; // which may change meanwhile
            sooner.wait_until(lock, at);
        } else {
            sooner.wait(lock);
        }
    }
}

} // namespace busrig
