#include <algorithm>
#include <new>

#include "hostlinkclient/session/CancellationState.h"
#include "hostlinkclient/session/Core.h"

namespace hostlink {

bool Cancellation::State::enter(std::weak_ptr<Core> core, uint64_t id) {
    const std::lock_guard lock(mutex);
    if (cancelled) return false;
    requests.emplace_back(std::move(core), id);
    return true;
}

void Cancellation::State::leave(const Core& core, uint64_t id) {
    const std::lock_guard lock(mutex);
    const auto isIt = [&](const auto& request) { return request.second == id && request.first.lock().get() == &core; };
    requests.erase(std::remove_if(requests.begin(), requests.end(), isIt), requests.end());
}

// The latest first: none is sent because another before it has gone. What has not ended because there is no memory for
// that is put back for the next attempt: into the room it had, since nobody enters any more.
void Cancellation::State::cancel() {
    std::unique_lock lock(mutex);
    cancelled = true;
    while (!requests.empty()) {
        const auto latest = requests.back();
        requests.pop_back();
        lock.unlock();
        try {
            if (const auto present = latest.first.lock()) present->cancel(latest.second);
        } catch (const std::bad_alloc&) {
            lock.lock();
            requests.push_back(latest);
            throw;
        }
        lock.lock();
    }
}

Cancellation::Cancellation() : state(std::make_shared<State>()) {}
Cancellation::Cancellation(const Cancellation& other) = default;
Cancellation& Cancellation::operator=(const Cancellation& other) = default;
Cancellation::~Cancellation() = default;

void Cancellation::cancel() {
    state->cancel();
}

} // namespace hostlink
