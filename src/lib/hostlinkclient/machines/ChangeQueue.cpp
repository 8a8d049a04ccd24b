#include "hostlinkclient/machines/ChangeQueue.h"

#include <algorithm>
#include <utility>

namespace hostlink {

// Whoever takes the place of a change that is dropped tells of it: the next one in order, or the newer one of its
// state.
void ChangeQueue::push(Change change) {
    const auto isSame = [&change](const Change& other) { return other.state == change.state; };
    const auto going = capacity == 0                ? std::find_if(changes.begin(), changes.end(), isSame)
                       : changes.size() == capacity ? changes.begin()
                                                    : changes.end();
    if (going != changes.end()) {
        const uint64_t missed = going->missed + 1;
        ++droppedEver;
        changes.erase(going);
        (capacity == 0 || changes.empty() ? change : changes.front()).missed += missed;
    }
    changes.push_back(std::move(change));
}

std::optional<Change> ChangeQueue::pop() {
    if (changes.empty()) return std::nullopt;
    Change first = std::move(changes.front());
    changes.pop_front();
    return first;
}

} // namespace hostlink
