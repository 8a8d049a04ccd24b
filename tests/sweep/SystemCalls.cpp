// The C library's functions, as the project's libraries find them: a program's own definition comes before that of a
// shared library. Calls of threads that are not under test go on to the C library untouched; a sanitizer's version of
// the function is the next one, so it sees every call that is really made.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <ctime>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include "Allocations.h"
#include "CallLog.h"
#include "PlayedKernel.h"
#include "support/NextDefinition.h"

#define INTERPOSED extern "C" __attribute__((visibility("default")))

using sweep::CallLog;
using sweep::Failure;
using sweep::PlayedKernel;
using sweep::UnderTest;

namespace {

std::atomic<PlayedKernel*> played{nullptr};

template <typename Function> Function* next(const char* name) {
    return reinterpret_cast<Function*>(nextDefinition(name));
}

// The played kernel's answer, else what `kernel` returns.
template <typename Play, typename Kernel> long answered(Play play, Kernel kernel) {
    const UnderTest notNow(false);
    const sweep::UnwatchedAllocations own;
    PlayedKernel* const player = played;
    const PlayedKernel::Answer answer = player != nullptr ? play(*player) : PlayedKernel::Answer();
    if (!answer) return kernel();
    if (*answer < 0) errno = static_cast<int>(-*answer);
    return *answer < 0 ? -1 : *answer;
}

// The call as a whole, with half its size, or not at all.
template <typename Whole, typename Half> long asPlanned(const std::optional<Failure>& failure, Whole whole, Half half) {
    if (!failure) return whole();
    if (failure->kind == Failure::Kind::Half) return half();
    if (failure->kind != Failure::Kind::Error) return 0;
    errno = failure->value;
    return -1;
}

template <typename Whole> long asPlanned(const std::optional<Failure>& failure, Whole whole) {
    return asPlanned(failure, whole, whole);
}

std::chrono::nanoseconds durationOf(const timespec& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

timespec timespecOf(std::chrono::nanoseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {seconds.count(), (time - seconds).count()};
}

int withCondition(pollfd* entries, nfds_t count, int condition) {
    for (nfds_t i = 0; i < count; ++i) entries[i].revents = static_cast<short>(i == 0 ? condition : 0);
    return count > 0 ? 1 : 0;
}

// A call without a played kernel: the kernel's own answer, or the planned failure.
template <typename Real> long orAsPlanned(const char* name, Real real) {
    if (!UnderTest::isCounted()) return static_cast<long>(real());
    return asPlanned(CallLog::instance().record(name), [&] { return static_cast<long>(real()); });
}

struct ThreadStart {
    void* (*routine)(void*);
    void* argument;
};

void* runCounted(void* argument) {
    const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
    const UnderTest thread;
    return start->routine(start->argument);
}

} // namespace

namespace sweep {

void playKernel(PlayedKernel* kernel) {
    played = kernel;
}

} // namespace sweep

INTERPOSED int open(const char* path, int flags, ...) {
    static auto* const real = next<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (!UnderTest::isCounted()) return real(path, flags, mode);
    return static_cast<int>(asPlanned(CallLog::instance().record("open", 0, path), [&] {
        return answered([&](PlayedKernel& kernel) { return kernel.open(path, flags); },
                        [&] { return static_cast<long>(real(path, flags, mode)); });
    }));
}

// Linux gives the number free whatever close(2) answers.
INTERPOSED int close(int fd) {
    static auto* const real = next<int(int)>("close");
    if (!UnderTest::isCounted()) return real(fd);
    const auto failure = CallLog::instance().record("close");
    {
        const sweep::UnwatchedAllocations own;
        if (PlayedKernel* const player = played) player->closing(fd);
    }
    const int result = real(fd);
    return static_cast<int>(asPlanned(failure, [&] { return static_cast<long>(result); }));
}

INTERPOSED ssize_t read(int fd, void* buffer, size_t size) {
    static auto* const real = next<ssize_t(int, void*, size_t)>("read");
    if (!UnderTest::isCounted()) return real(fd, buffer, size);
    const auto some = [&](size_t count) {
        return answered([&](PlayedKernel& kernel) { return kernel.read(fd, buffer, count); },
                        [&] { return static_cast<long>(real(fd, buffer, count)); });
    };
    return asPlanned(
        CallLog::instance().record("read"), [&] { return some(size); }, [&] { return some(size / 2); });
}

INTERPOSED ssize_t write(int fd, const void* data, size_t size) {
    static auto* const real = next<ssize_t(int, const void*, size_t)>("write");
    if (!UnderTest::isCounted()) return real(fd, data, size);
    const auto some = [&](size_t count) {
        return answered([&](PlayedKernel& kernel) { return kernel.write(fd, data, count); },
                        [&] { return static_cast<long>(real(fd, data, count)); });
    };
    return asPlanned(
        CallLog::instance().record("write"), [&] { return some(size); }, [&] { return some(size / 2); });
}

INTERPOSED int ioctl(int fd, unsigned long request, ...) noexcept {
    static auto* const real = next<int(int, unsigned long, ...)>("ioctl");
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*); // a number passes as well: both fit one register
    va_end(arguments);
    if (!UnderTest::isCounted()) return real(fd, request, argument);
    const auto whole = [&] {
        return answered([&](PlayedKernel& kernel) { return kernel.ioctl(fd, request, argument); },
                        [&] { return static_cast<long>(real(fd, request, argument)); });
    };
    // Requests that report no count have no half: they succeed.
    const auto half = [&] {
        const long result = whole();
        return result > 0 ? result - 1 : result;
    };
    return static_cast<int>(asPlanned(CallLog::instance().record("ioctl", request), whole, half));
}

INTERPOSED int poll(pollfd* entries, nfds_t count, int timeout) {
    static auto* const real = next<int(pollfd*, nfds_t, int)>("poll");
    if (!UnderTest::isCounted()) return real(entries, count, timeout);
    const auto failure = CallLog::instance().record("poll");
    if (failure && failure->kind == Failure::Kind::Condition) return withCondition(entries, count, failure->value);
    return static_cast<int>(asPlanned(failure, [&] {
        return answered([&](PlayedKernel& kernel) { return kernel.poll(entries, count, timeout); },
                        [&] { return static_cast<long>(real(entries, count, timeout)); });
    }));
}

// A client's threads wait here. No kernel is played for them.
INTERPOSED int ppoll(pollfd* entries, nfds_t count, const timespec* timeout, const sigset_t* mask) {
    static auto* const real = next<int(pollfd*, nfds_t, const timespec*, const sigset_t*)>("ppoll");
    if (!UnderTest::isCounted()) return real(entries, count, timeout, mask);
    const auto failure = CallLog::instance().record("ppoll");
    if (failure && failure->kind == Failure::Kind::Condition) return withCondition(entries, count, failure->value);
    return static_cast<int>(asPlanned(failure, [&] { return static_cast<long>(real(entries, count, timeout, mask)); }));
}

INTERPOSED int epoll_create1(int flags) noexcept {
    static auto* const real = next<int(int)>("epoll_create1");
    return static_cast<int>(orAsPlanned("epoll_create1", [&] { return real(flags); }));
}

INTERPOSED int epoll_ctl(int epoll, int operation, int fd, epoll_event* event) noexcept {
    static auto* const real = next<int(int, int, int, epoll_event*)>("epoll_ctl");
    return static_cast<int>(orAsPlanned("epoll_ctl", [&] { return real(epoll, operation, fd, event); }));
}

INTERPOSED int epoll_wait(int epoll, epoll_event* events, int most, int timeout) {
    static auto* const real = next<int(int, epoll_event*, int, int)>("epoll_wait");
    return static_cast<int>(orAsPlanned("epoll_wait", [&] { return real(epoll, events, most, timeout); }));
}

INTERPOSED int socket(int domain, int type, int protocol) noexcept {
    static auto* const real = next<int(int, int, int)>("socket");
    return static_cast<int>(orAsPlanned("socket", [&] { return real(domain, type, protocol); }));
}

INTERPOSED int bind(int fd, const sockaddr* address, socklen_t size) noexcept {
    static auto* const real = next<int(int, const sockaddr*, socklen_t)>("bind");
    return static_cast<int>(orAsPlanned("bind", [&] { return real(fd, address, size); }));
}

INTERPOSED int listen(int fd, int backlog) noexcept {
    static auto* const real = next<int(int, int)>("listen");
    return static_cast<int>(orAsPlanned("listen", [&] { return real(fd, backlog); }));
}

INTERPOSED int getsockname(int fd, sockaddr* address, socklen_t* size) noexcept {
    static auto* const real = next<int(int, sockaddr*, socklen_t*)>("getsockname");
    return static_cast<int>(orAsPlanned("getsockname", [&] { return real(fd, address, size); }));
}

INTERPOSED int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
    static auto* const real = next<int(int, sockaddr*, socklen_t*, int)>("accept4");
    return static_cast<int>(orAsPlanned("accept4", [&] { return real(fd, address, size, flags); }));
}

INTERPOSED ssize_t recv(int fd, void* buffer, size_t size, int flags) {
    static auto* const real = next<ssize_t(int, void*, size_t, int)>("recv");
    if (!UnderTest::isCounted()) return real(fd, buffer, size, flags);
    return asPlanned(
        CallLog::instance().record("recv"), [&] { return real(fd, buffer, size, flags); },
        [&] { return real(fd, buffer, (size + 1) / 2, flags); });
}

INTERPOSED ssize_t send(int fd, const void* data, size_t size, int flags) {
    static auto* const real = next<ssize_t(int, const void*, size_t, int)>("send");
    if (!UnderTest::isCounted()) return real(fd, data, size, flags);
    return asPlanned(
        CallLog::instance().record("send"), [&] { return real(fd, data, size, flags); },
        [&] { return real(fd, data, (size + 1) / 2, flags); });
}

INTERPOSED int stat(const char* path, struct stat* status) noexcept {
    static auto* const real = next<int(const char*, struct stat*)>("stat");
    if (!UnderTest::isCounted()) return real(path, status);
    return static_cast<int>(asPlanned(CallLog::instance().record("stat", 0, path), [&] {
        return answered([&](PlayedKernel& kernel) { return kernel.stat(path, status); },
                        [&] { return static_cast<long>(real(path, status)); });
    }));
}

// What only looks around may fail without a consequence that a sweep could tell from others: not recorded.
INTERPOSED int fstat(int fd, struct stat* status) noexcept {
    static auto* const real = next<int(int, struct stat*)>("fstat");
    if (!UnderTest::isCounted()) return real(fd, status);
    return static_cast<int>(answered([&](PlayedKernel& kernel) { return kernel.fstat(fd, status); },
                                     [&] { return static_cast<long>(real(fd, status)); }));
}

INTERPOSED DIR* opendir(const char* path) {
    static auto* const real = next<DIR*(const char*)>("opendir");
    PlayedKernel* const player = UnderTest::isCounted() ? played.load() : nullptr;
    if (player == nullptr) return real(path);
    const UnderTest notNow(false);
    const sweep::UnwatchedAllocations own;
    const std::string folder = player->folder(path);
    return real(folder.empty() ? path : folder.c_str());
}

// Time cannot fail, so the two calls below are not recorded.
INTERPOSED int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static auto* const real = next<int(clockid_t, timespec*)>("clock_gettime");
    PlayedKernel* const player = clock == CLOCK_MONOTONIC && UnderTest::isCounted() ? played.load() : nullptr;
    if (player == nullptr) return real(clock, time);
    const UnderTest notNow(false);
    const sweep::UnwatchedAllocations own;
    const auto now = player->now();
    if (!now) return real(clock, time);
    *time = timespecOf(*now);
    return 0;
}

INTERPOSED int nanosleep(const timespec* time, timespec* left) {
    static auto* const real = next<int(const timespec*, timespec*)>("nanosleep");
    if (!UnderTest::isCounted()) return real(time, left);
    return static_cast<int>(answered([&](PlayedKernel& kernel) { return kernel.sleep(durationOf(*time)); },
                                     [&] { return static_cast<long>(real(time, left)); }));
}

INTERPOSED int eventfd(unsigned count, int flags) noexcept {
    static auto* const real = next<int(unsigned, int)>("eventfd");
    if (!UnderTest::isCounted()) return real(count, flags);
    return static_cast<int>(
        asPlanned(CallLog::instance().record("eventfd"), [&] { return static_cast<long>(real(count, flags)); }));
}

INTERPOSED int pipe2(int ends[2], int flags) noexcept {
    static auto* const real = next<int(int*, int)>("pipe2");
    if (!UnderTest::isCounted()) return real(ends, flags);
    return static_cast<int>(
        asPlanned(CallLog::instance().record("pipe2"), [&] { return static_cast<long>(real(ends, flags)); }));
}

INTERPOSED int fcntl(int fd, int command, ...) {
    static auto* const real = next<int(int, int, ...)>("fcntl");
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (!UnderTest::isCounted()) return real(fd, command, argument);
    return static_cast<int>(
        asPlanned(CallLog::instance().record("fcntl"), [&] { return static_cast<long>(real(fd, command, argument)); }));
}

INTERPOSED off_t lseek(int fd, off_t offset, int whence) noexcept {
    static auto* const real = next<off_t(int, off_t, int)>("lseek");
    if (!UnderTest::isCounted()) return real(fd, offset, whence);
    return asPlanned(CallLog::instance().record("lseek"), [&] { return static_cast<long>(real(fd, offset, whence)); });
}

INTERPOSED int flock(int fd, int operation) noexcept {
    static auto* const real = next<int(int, int)>("flock");
    if (!UnderTest::isCounted()) return real(fd, operation);
    return static_cast<int>(
        asPlanned(CallLog::instance().record("flock"), [&] { return static_cast<long>(real(fd, operation)); }));
}

INTERPOSED int tcflush(int fd, int queue) noexcept {
    static auto* const real = next<int(int, int)>("tcflush");
    if (!UnderTest::isCounted()) return real(fd, queue);
    return static_cast<int>(asPlanned(CallLog::instance().record("tcflush"), [&] {
        return answered([&](PlayedKernel& kernel) { return kernel.flush(fd, queue); },
                        [&] { return static_cast<long>(real(fd, queue)); });
    }));
}

INTERPOSED int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                              void* argument) noexcept {
    static auto* const real = next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    if (!UnderTest::isCounted()) return real(thread, attributes, routine, argument);
    if (const auto failure = CallLog::instance().record("pthread_create")) return failure->value;
    const sweep::UnwatchedAllocations own;
    auto start = std::make_unique<ThreadStart>(ThreadStart{routine, argument});
    const int result = real(thread, attributes, &runCounted, start.get());
    if (result == 0) static_cast<void>(start.release()); // the thread's now
    return result;
}

// Fails for no reason but a mistake of the caller.
INTERPOSED int pthread_join(pthread_t thread, void** result) {
    static auto* const real = next<int(pthread_t, void**)>("pthread_join");
    if (UnderTest::isCounted()) CallLog::instance().mark("pthread_join");
    return real(thread, result);
}
