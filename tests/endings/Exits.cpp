#include "Exits.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <random>
#include <system_error>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/TestSeed.h"
#include "support/Watchdog.h"
#include "support/schedule/HostileScheduler.h"
#include "support/schedule/Hunt.h"

namespace {

constexpr int wellEnded = 7;
constexpr int longestDelay = 3000; // microseconds
constexpr unsigned patience = 45;  // seconds, after which a program that hangs is ended by its own alarm

// Where each start takes ten times as long.
#ifdef ZENT_FEWER_EXITS
constexpr int fewer = 10;
#else
constexpr int fewer = 1;
#endif

std::string whatHappened(int status) {
    if (WIFEXITED(status)) return "exit code " + std::to_string(WEXITSTATUS(status));
    return "signal " + std::to_string(WTERMSIG(status));
}

/// How a program ended.
struct Outcome {
    int status = -1;
    std::string errors; ///< its standard error
};

void become(std::string program, std::string link, std::string way, std::string delay) {
    std::array<char*, 5> arguments{program.data(), link.data(), way.data(), delay.data(), nullptr};
    ::execv(program.c_str(), arguments.data());
}

// To the end, which comes with the program's own.
std::string readAll(int output) {
    std::string text;
    std::array<char, 4096> some{};
    for (;;) {
        const ssize_t count = ::read(output, some.data(), some.size());
        if (count > 0) text.append(some.data(), static_cast<size_t>(count));
        if (count == 0 || (count < 0 && errno != EINTR)) return text;
    }
}

Outcome run(const ExitCase& exitCase, const std::string& delay) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    const pid_t child = ::fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        ::dup2(ends[1], STDERR_FILENO);
        ::alarm(patience);
        become(ZENT_EXITING, exitCase.link, exitCase.way, delay);
        ::_exit(127);
    }
    ::close(ends[1]);
    Outcome outcome;
    outcome.errors = readAll(ends[0]);
    ::close(ends[0]);
    while (::waitpid(child, &outcome.status, 0) < 0 && errno == EINTR) {
    }
    return outcome;
}

// A sanitizer's report counts whatever the exit code: the program may be gone before it can make a failure of it.
bool isGood(const Outcome& outcome) {
    return WIFEXITED(outcome.status) && WEXITSTATUS(outcome.status) == wellEnded &&
           outcome.errors.find("Sanitizer") == std::string::npos;
}

// The delays of a test; of a hunt, one that follows from its seed, which the program gets as well.
std::mt19937 generatorOfDelays() {
    if (!schedule::isHunt()) return seededGenerator();
    const std::uint64_t seed = schedule::HostileScheduler::seed();
    ::setenv(schedule::seedVariable, std::to_string(seed).c_str(), 1); // this program has read it long ago
    return std::mt19937(static_cast<std::uint32_t>(seed));
}

} // namespace

void expectGoodExits(const ExitCase& exitCase, int times) {
    const schedule::Undisturbed test; // in a hunt it is the program that is hunted
    std::mt19937 generator = generatorOfDelays();
    const int rounds = schedule::isHunt() ? 1 : times / fewer;
    for (int i = 0; i < rounds; ++i) {
        const std::string delay = std::to_string(generator() % longestDelay);
        testIsAt(exitCase.link + " " + exitCase.way + " " + delay + ", round " + std::to_string(i));
        const Outcome outcome = run(exitCase, delay);
        ASSERT_TRUE(isGood(outcome)) << whatHappened(outcome.status) << " in round " << i << ": exiting "
                                     << exitCase.link << " " << exitCase.way << " " << delay << "\n"
                                     << outcome.errors;
    }
}
