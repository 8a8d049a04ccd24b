#include <algorithm>

#include "hostlinkclient/session/CancellationState.h"
#include "hostlinkclient/session/Core.h"

namespace hostlink {

namespace {

bool isSame(const std::weak_ptr<Core>& one, const std::weak_ptr<Core>& other) {
    return !one.owner_before(other) && !other.owner_before(one);
}

} // namespace

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
// that is still here for the next attempt.
void Cancellation::State::cancel() {
    std::unique_lock lock(mutex);
    cancelled = true;
    while (!requests.empty()) {
        const auto [core, id] = requests.back();
        lock.unlock();
        if (const auto present = core.lock()) present->cancel(id);
        lock.lock();
        const bool isLeft = !requests.empty() && requests.back().second == id && isSame(requests.back().first, core);
        if (isLeft) requests.pop_back(); // of a client that is gone
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
