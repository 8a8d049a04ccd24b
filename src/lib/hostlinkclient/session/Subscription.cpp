#include "hostlinkclient/Subscription.h"

#include <utility>

#include "hostlinkclient/session/Calling.h"
#include "hostlinkclient/session/Core.h"
#include "hostlinkclient/session/ListeningState.h"
#include "hostlinkclient/session/QuietThread.h"
#include "hostlinkclient/session/SubscriptionState.h"

namespace hostlink {

Subscription::State::State(std::weak_ptr<Core> at, uint64_t number, std::optional<Failure> problem, Keep keep,
                           std::function<void(const Change&)> told, const std::shared_ptr<Events::Queue>& in)
    : core(std::move(at)),
      id(number),
      wrong(std::move(problem)),
      callback(std::move(told)),
      isInLoop(in != nullptr),
      loop(in),
      queue(keep.capacity()) {}

// The thread keeps what it runs on, so that its own callback may end the subscription.
void Subscription::State::start() {
    if (isInLoop) return;
    thread = startQuietThread([self = shared_from_this()] { self->run(); });
}

void Subscription::State::push(Change change) {
    const std::lock_guard lock(mutex);
    if (ended) return;
    queue.push(std::move(change));
    if (isInLoop)
        postIfNeeded();
    else
        changed.notify_all();
}

void Subscription::State::run() {
    Calling::mark(core.lock().get());
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return ended || !queue.empty(); });
        if (ended) break;
        const std::optional<Change> change = queue.pop();
        lock.unlock();
        callback(*change);
        lock.lock();
    }
    over = true;
}

// With the lock. One change a task, so that nobody else in the loop has to wait for all of them.
void Subscription::State::postIfNeeded() {
    if (isPosted || ended || queue.empty()) return;
    const auto present = loop.lock();
    if (!present) return; // the client is gone, and nothing of it is called any more
    isPosted = true;
    present->post([self = shared_from_this()] { self->runInLoop(); });
}

void Subscription::State::runInLoop() {
    std::unique_lock lock(mutex);
    isPosted = false;
    if (ended) return;
    const std::optional<Change> change = queue.pop();
    toldOn = std::this_thread::get_id();
    lock.unlock();
    struct Leaving { // also when the callback throws
        ~Leaving() {
            const std::lock_guard guard(state.mutex);
            state.toldOn.reset();
            state.changed.notify_all();
            state.postIfNeeded();
        }
        State& state;
    };
    const Leaving leaving{*this};
    const Calling marked(core.lock().get());
    callback(*change);
}

void Subscription::State::stop() {
    {
        std::unique_lock lock(mutex);
        ended = true;
        changed.notify_all();
        changed.wait(lock, [this] { return !toldOn || toldOn == std::this_thread::get_id(); });
    }
    if (isOnItsThread()) return; // its callback ends it, and is not waited for
    const std::lock_guard once(stopping);
    if (thread.joinable()) thread.join();
}

// The thread that goes last may be its own.
Subscription::State::~State() {
    if (!thread.joinable()) return;
    if (isOnItsThread())
        thread.detach();
    else
        thread.join();
}

bool Subscription::State::isOver() const {
    const std::lock_guard lock(mutex);
    return over;
}

uint64_t Subscription::State::missed() const {
    const std::lock_guard lock(mutex);
    return queue.dropped();
}

Subscription::Subscription() = default;
Subscription::Subscription(std::shared_ptr<State> with) : state(std::move(with)) {}
Subscription::Subscription(Subscription&& other) noexcept : state(std::move(other.state)) {}

Subscription& Subscription::operator=(Subscription&& other) noexcept {
    if (this == &other) return *this;
    end();
    state = std::move(other.state);
    return *this;
}

Subscription::~Subscription() {
    end();
}

void Subscription::end() {
    const std::shared_ptr<State> going = std::move(state);
    if (!going) return;
    if (const auto core = going->core.lock()) core->unsubscribe(going->id);
    going->stop();
}

Result<void> Subscription::established(std::chrono::milliseconds within) const {
    const std::shared_ptr<Core> core = state ? state->core.lock() : nullptr;
    if (!core) return Failure(Outcome::Cancelled, "subscribe: the subscription has ended");
    if (state->wrong) return *state->wrong;
    return core->awaitSubscription(state->id, within);
}

std::optional<Value> Subscription::last(const StateId& of) const {
    const std::shared_ptr<Core> core = state ? state->core.lock() : nullptr;
    if (!core || !of.isValid()) return std::nullopt;
    return core->lastValue(of.number());
}

uint64_t Subscription::missed() const {
    return state ? state->missed() : 0;
}

Listening::Listening() = default;
Listening::Listening(std::shared_ptr<State> with) : state(std::move(with)) {}
Listening::Listening(Listening&& other) noexcept : state(std::move(other.state)) {}

Listening& Listening::operator=(Listening&& other) noexcept {
    if (this == &other) return *this;
    end();
    state = std::move(other.state);
    return *this;
}

Listening::~Listening() {
    end();
}

void Listening::end() {
    const std::shared_ptr<State> going = std::move(state);
    if (going) going->end();
}

void Listening::State::end() {
    std::shared_ptr<void> gone;
    std::unique_lock lock(mutex);
    ended = true;
    gone.swap(handle);
    left.wait(lock, [this] { return !isRunning || runs == std::this_thread::get_id(); });
    lock.unlock();
}

void Listening::State::call(const std::function<void()>& task) {
    {
        const std::lock_guard lock(mutex);
        if (ended) return;
        isRunning = true;
        runs = std::this_thread::get_id();
    }
    struct Leaving { // also when the task throws, which only a program's loop catches
        ~Leaving() {
            const std::lock_guard guard(state.mutex);
            state.isRunning = false;
            state.left.notify_all();
        }
        State& state;
    };
    const Leaving leaving{*this};
    task();
}

} // namespace hostlink
