#include "Inbox.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "Conversions.h"
#include "Interpreter.h"

namespace binding {

namespace {

constexpr size_t mostLogLines = 1000; // that wait for a callback which takes its time

descriptor::Descriptor newEvent() {
    descriptor::Descriptor event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (event.get() < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    return event;
}

} // namespace

Inbox::Inbox() : wakeup(newEvent()) {}

void Inbox::put(uint64_t id, Content content) {
    const std::lock_guard lock(mutex);
    told.push_back({id, std::move(content)});
}

void Inbox::log(int level, const std::string& line) {
    {
        const std::lock_guard lock(mutex);
        if (isStopped || logged == mostLogLines) return;
        ++logged;
        told.push_back({logLines, [level, line] { return py::make_tuple(level, textOf(line)); }});
    }
    wake();
}

void Inbox::wake() const {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wakeup.get(), &one, sizeof one); // full is awake too
}

void Inbox::wait() const {
    std::array<pollfd, 2> entries{{{callbacks.descriptor(), POLLIN, 0}, {wakeup.get(), POLLIN, 0}}};
    ::poll(entries.data(), entries.size(), -1);
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(wakeup.get(), &count, sizeof count);
}

py::object Inbox::take() {
    std::deque<Told> taken;
    const bool goesOn = unlocked([this, &taken] {
        for (;;) {
            wait();
            callbacks.dispatch();
            const std::lock_guard lock(mutex);
            if (isStopped) return false;
            if (told.empty()) continue;
            taken.swap(told);
            logged = 0;
            return true;
        }
    });
    if (!goesOn) return py::none();
    py::list all;
    for (const Told& each : taken) all.append(py::make_tuple(each.id, each.content()));
    return all;
}

void Inbox::stop() {
    {
        const std::lock_guard lock(mutex);
        isStopped = true;
    }
    wake();
}

} // namespace binding
