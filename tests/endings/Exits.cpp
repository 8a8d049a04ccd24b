#include "Exits.h"

#include <cerrno>
#include <cstdlib>
#include <random>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/TestSeed.h"

namespace {

constexpr int wellEnded = 7;
constexpr int longestDelay = 3000; // microseconds
constexpr unsigned patience = 60;  // seconds, after which a program that hangs is ended by its own alarm

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

int run(const ExitCase& exitCase, const std::string& delay) {
    std::string program = ZENT_EXITING;
    std::string link = exitCase.link;
    std::string way = exitCase.way;
    std::string time = delay;
    char* const arguments[] = {program.data(), link.data(), way.data(), time.data(), nullptr};
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        ::alarm(patience);
        ::execv(program.c_str(), arguments);
        ::_exit(127);
    }
    int status = -1;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

} // namespace

void expectGoodExits(const ExitCase& exitCase, int times) {
    std::mt19937 generator = seededGenerator();
    for (int i = 0; i < times / fewer; ++i) {
        const std::string delay = std::to_string(generator() % longestDelay);
        const int status = run(exitCase, delay);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == wellEnded)
            << whatHappened(status) << " in round " << i << ": exiting " << exitCase.link << " " << exitCase.way << " "
            << delay;
    }
}
