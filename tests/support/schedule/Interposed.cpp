// The C library's functions, as the libraries of a test program find them: a program's own definition comes before that
// of a shared library. A sanitizer's version of the function is the next one, so it sees every call. Compiled without
// sanitizers, as HostileScheduler.cpp is, and because the first calls come before a sanitizer is ready.
#include <atomic>
#include <cerrno>
#include <cstdarg>

#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "Threads.h"
#include "support/NextDefinition.h"

#define INTERPOSED extern "C" __attribute__((visibility("default")))

// Where the program's own code lies; the linker knows.
extern const char beginOfProgram __asm__("__executable_start");
extern const char endOfCode __asm__("etext");

using schedule::Call;

namespace {

// The next definition of a function. Found at the first call, which may come before any constructor has run: so it is
// initialised by the compiler, and two threads that look at once find the same.
template <typename Function> class Next {
public:
    explicit constexpr Next(const char* functionName) : name(functionName) {}
    template <typename... Arguments> auto operator()(Arguments... arguments) { return function()(arguments...); }

private:
    Function* function() {
        Function* known = found.load(std::memory_order_relaxed);
        if (known == nullptr) {
            known = reinterpret_cast<Function*>(nextDefinition(name));
            found.store(known, std::memory_order_relaxed);
        }
        return known;
    }

    const char* const name;
    std::atomic<Function*> found{nullptr};
};

bool isLibrary(const void* caller) {
    return caller < &beginOfProgram || caller >= &endOfCode;
}

// `make`, with the points of the call around it.
template <typename Make> auto around(Call call, const void* caller, Make make) {
    if (!schedule::isHunted() || !isLibrary(caller)) return make();
    schedule::reach({call, false});
    const auto result = make();
    schedule::reach({call, true});
    return result;
}

// What a thread needs to begin with. They are never short: a test has a handful of threads.
struct Start {
    std::atomic<bool> taken;
    void* (*routine)(void*);
    void* argument;
    schedule::Ticket ticket;
};
Start starts[64];

Start* takeStart() {
    for (Start& start : starts)
        if (!start.taken.exchange(true, std::memory_order_acquire)) return &start;
    return nullptr;
}

void giveBack(Start& start) {
    start.taken.store(false, std::memory_order_release);
}

void* runHunted(void* argument) {
    auto& start = *static_cast<Start*>(argument);
    void* (*const routine)(void*) = start.routine;
    void* const itsArgument = start.argument;
    schedule::enter(start.ticket);
    giveBack(start);
    if (schedule::isHunted()) schedule::reach({Call::Life, false});
    void* const result = routine(itsArgument);
    if (schedule::isHunted()) schedule::reach({Call::Life, true});
    return result;
}

} // namespace

INTERPOSED int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static Next<int(pthread_mutex_t*)> next("pthread_mutex_lock");
    return around(Call::Lock, __builtin_return_address(0), [&] { return next(mutex); });
}

INTERPOSED int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    static Next<int(pthread_mutex_t*)> next("pthread_mutex_unlock");
    return around(Call::Unlock, __builtin_return_address(0), [&] { return next(mutex); });
}

INTERPOSED int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    static Next<int(pthread_cond_t*)> next("pthread_cond_signal");
    return around(Call::Notify, __builtin_return_address(0), [&] { return next(condition); });
}

INTERPOSED int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    static Next<int(pthread_cond_t*)> next("pthread_cond_broadcast");
    return around(Call::Notify, __builtin_return_address(0), [&] { return next(condition); });
}

INTERPOSED int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    static Next<int(pthread_cond_t*, pthread_mutex_t*)> next("pthread_cond_wait");
    return around(Call::Wait, __builtin_return_address(0), [&] { return next(condition, mutex); });
}

INTERPOSED int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until) {
    static Next<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> next("pthread_cond_timedwait");
    return around(Call::Wait, __builtin_return_address(0), [&] { return next(condition, mutex, until); });
}

INTERPOSED int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                      const timespec* until) {
    static Next<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)> next("pthread_cond_clockwait");
    return around(Call::Wait, __builtin_return_address(0), [&] { return next(condition, mutex, clock, until); });
}

INTERPOSED int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                              void* argument) noexcept {
    static Next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)> next("pthread_create");
    Start* const start = schedule::isHunted() ? takeStart() : nullptr;
    if (start == nullptr) return next(thread, attributes, routine, argument);
    start->routine = routine;
    start->argument = argument;
    start->ticket = schedule::takeTicket();
    return around(Call::Create, __builtin_return_address(0), [&] {
        const int result = next(thread, attributes, &runHunted, static_cast<void*>(start));
        if (result != 0) giveBack(*start);
        return result;
    });
}

INTERPOSED int pthread_join(pthread_t thread, void** result) {
    static Next<int(pthread_t, void**)> next("pthread_join");
    return around(Call::Join, __builtin_return_address(0), [&] { return next(thread, result); });
}

INTERPOSED ssize_t read(int fd, void* buffer, size_t size) {
    static Next<ssize_t(int, void*, size_t)> next("read");
    return around(Call::Read, __builtin_return_address(0), [&] { return next(fd, buffer, size); });
}

INTERPOSED ssize_t write(int fd, const void* data, size_t size) {
    static Next<ssize_t(int, const void*, size_t)> next("write");
    return around(Call::Write, __builtin_return_address(0), [&] { return next(fd, data, size); });
}

INTERPOSED int poll(pollfd* entries, nfds_t count, int timeout) {
    static Next<int(pollfd*, nfds_t, int)> next("poll");
    return around(Call::Poll, __builtin_return_address(0), [&] { return next(entries, count, timeout); });
}

INTERPOSED int close(int fd) {
    static Next<int(int)> next("close");
    return around(Call::Close, __builtin_return_address(0), [&] { return next(fd); });
}

INTERPOSED int ioctl(int fd, unsigned long request, ...) noexcept {
    static Next<int(int, unsigned long, ...)> next("ioctl");
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*); // a number passes as well: both fit one register
    va_end(arguments);
    return around(Call::Ioctl, __builtin_return_address(0), [&] { return next(fd, request, argument); });
}
