// Compiled without sanitizers: what is atomic here must not order the threads under test before ThreadSanitizer's eyes,
// or it would hide their races. All of it is relaxed for the same reason.
#include "HostileScheduler.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <utility>

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "Schedule.h"
#include "Threads.h"

namespace schedule {

namespace {

constexpr auto relaxed = std::memory_order_relaxed;

constexpr std::uint64_t alwaysAllowed = 100000; // microseconds
constexpr std::uint64_t shareAllowed = 8;       // of the time that has passed, one part in so many
constexpr std::uint32_t readyFor = 100;         // microseconds, of a pause in which a thread is passed over

// Of the scheduler that lives; `run` is 0 while there is none. Written by its constructor, before the threads that read
// it are started or while they are told so by `run`.
std::atomic<std::uint32_t> run{0};
std::atomic<std::uint64_t> seedOfRun{0};
std::atomic<std::uint64_t> begin{0}; // microseconds
std::atomic<std::uint32_t> threads{0};
std::atomic<std::uint64_t> spent{0};   // microseconds
std::atomic<std::uint64_t> overrun{0}; // what pauses took beyond that
std::atomic<std::uint32_t> reached[pointCount];
std::atomic<std::uint32_t> runs{0};

struct Self {
    std::uint32_t run;
    std::uint32_t number;
    std::uint32_t points;
    bool left; // left alone
};
thread_local Self self{};

std::uint64_t now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 1000000 + static_cast<std::uint64_t>(time.tv_nsec) / 1000;
}

// A system call of its own, which no sanitizer takes for one of the thread's.
void sleep(std::uint32_t microseconds) {
    const timespec time{0, static_cast<long>(microseconds) * 1000};
    syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &time, nullptr);
}

// As a thread is that the scheduler passes over: at the end of its pause, and all through a short one, it is ready to
// run, whoever else is ready has the processor, and it goes on when its turn comes, not at once as one that is waked.
// Before that it sleeps: on a processor that nobody else wants it would do nothing but look at the clock.
void passOver(std::uint32_t microseconds) {
    const std::uint64_t end = now() + microseconds;
    if (microseconds > readyFor) sleep(microseconds - readyFor);
    while (now() < end) sched_yield();
}

// A busy machine makes more of a pause than was meant, of one that gives way most of all: whoever gives way comes back
// when the others have had their turns. That counts too, or a hunt there would hold its threads up for seconds.
bool mayTake(std::uint32_t microseconds) {
    const std::uint64_t allowed = alwaysAllowed + (now() - begin.load(relaxed)) / shareAllowed;
    const std::uint64_t before = spent.fetch_add(microseconds, relaxed) + overrun.load(relaxed);
    if (before + microseconds <= allowed) return true;
    spent.fetch_sub(microseconds, relaxed);
    return false;
}

void carryOut(const Pause& pause, bool asleep) {
    if ((!pause.yields && pause.microseconds == 0) || !mayTake(pause.microseconds)) return;
    const std::uint64_t from = now();
    if (pause.yields) sched_yield();
    if (pause.microseconds != 0) asleep ? sleep(pause.microseconds) : passOver(pause.microseconds);
    const std::uint64_t took = now() - from;
    if (took > pause.microseconds) overrun.fetch_add(took - pause.microseconds, relaxed);
}

} // namespace

bool isHunted() {
    return self.run != 0 && !self.left && self.run == run.load(relaxed);
}

void reach(Point point) {
    const int error = errno;
    reached[indexOf(point)].fetch_add(1, relaxed);
    ++self.points;
    const Schedule schedule(seedOfRun.load(relaxed));
    carryOut(schedule.at(self.number, self.points, point), schedule.holdsAsleep());
    errno = error;
}

Ticket takeTicket() {
    return {self.run, threads.fetch_add(1, relaxed)};
}

void enter(Ticket ticket) {
    self = {ticket.run, ticket.number, 0, false};
}

HostileScheduler::HostileScheduler(std::uint64_t seedToUse) {
    seedOfRun.store(seedToUse, relaxed);
    begin.store(now(), relaxed);
    spent.store(0, relaxed);
    overrun.store(0, relaxed);
    threads.store(0, relaxed);
    for (auto& count : reached) count.store(0, relaxed);
    const std::uint32_t mine = runs.fetch_add(1, relaxed) + 1;
    run.store(mine, relaxed);
    self.run = mine; // enter() would forget that the thread is to be left alone
    self.number = threads.fetch_add(1, relaxed);
    self.points = 0;
}

HostileScheduler::~HostileScheduler() {
    run.store(0, relaxed);
}

std::uint64_t HostileScheduler::seed() {
    return seedOfRun.load(relaxed);
}

std::uint32_t HostileScheduler::timesAt(Point point) {
    return reached[indexOf(point)].load(relaxed);
}

std::uint64_t HostileScheduler::delayed() {
    return spent.load(relaxed);
}

Undisturbed::Undisturbed() : before(std::exchange(self.left, true)) {}

Undisturbed::~Undisturbed() {
    self.left = before;
}

} // namespace schedule
