#include "hostlinkclient/Events.h"

#include <utility>

#include "hostlinkclient/session/EventQueue.h"

namespace hostlink {

void Events::Queue::post(Task task) {
    const std::lock_guard lock(mutex);
    tasks.push_back(std::move(task));
    if (tasks.size() == 1) event.set();
}

// How many tasks there are to do; none while another call is at it.
std::size_t Events::Queue::begin() {
    const std::lock_guard lock(mutex);
    if (isDispatching) return 0;
    isDispatching = !tasks.empty();
    return tasks.size();
}

void Events::Queue::take(Task& into) {
    const std::lock_guard lock(mutex);
    into = std::move(tasks.front());
    tasks.pop_front();
    if (tasks.empty()) event.clear();
}

void Events::Queue::end() {
    const std::lock_guard lock(mutex);
    isDispatching = false;
}

std::size_t Events::Queue::dispatch() {
    const std::size_t count = begin();
    if (count == 0) return 0;
    struct Ending { // also when a callback throws
        ~Ending() { queue.end(); }
        Queue& queue;
    };
    const Ending ending{*this};
    for (std::size_t i = 0; i < count; ++i) {
        Task task; // what it holds goes before the next one begins
        take(task);
        task();
    }
    return count;
}

Events::Events() : waiting(std::make_shared<Queue>()) {}
Events::Events(const Events& other) = default;
Events& Events::operator=(const Events& other) = default;
Events::~Events() = default;

int Events::descriptor() const {
    return waiting->descriptor();
}

// The queue lives on while its callbacks run, also when they let the last handle go.
std::size_t Events::dispatch() const {
    const std::shared_ptr<Queue> kept = waiting;
    return kept->dispatch();
}

} // namespace hostlink
