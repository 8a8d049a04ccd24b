#include <algorithm>

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

void Cancellation::State::cancel() {
    std::vector<std::pair<std::weak_ptr<Core>, uint64_t>> ended;
    {
        const std::lock_guard lock(mutex);
        cancelled = true;
        ended.swap(requests);
    }
    // The latest first: none is sent because another before it has gone.
    for (auto request = ended.rbegin(); request != ended.rend(); ++request)
        if (const auto present = request->first.lock()) present->cancel(request->second);
}

Cancellation::Cancellation() : state(std::make_shared<State>()) {}
Cancellation::Cancellation(const Cancellation& other) = default;
Cancellation& Cancellation::operator=(const Cancellation& other) = default;
Cancellation::~Cancellation() = default;

void Cancellation::cancel() {
    state->cancel();
}

} // namespace hostlink
