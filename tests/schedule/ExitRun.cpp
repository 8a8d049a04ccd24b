#include "ExitRun.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/schedule/Hunt.h"

namespace {

constexpr std::chrono::seconds patience{60};

struct Child {
    pid_t process;
    int output;
};

Child start(std::string link, std::string device, std::string seed) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    std::string program = ZENT_EXIT_UNDER_TRAFFIC;
    char* arguments[] = {program.data(), link.data(), device.data(), seed.data(), nullptr};
    if (schedule::isHunt()) setenv(schedule::seedVariable, seed.c_str(), 1); // this program has read it long ago
    const pid_t process = fork();
    if (process < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (process == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        execv(program.c_str(), arguments);
        _exit(127);
    }
    close(ends[1]);
    return {process, ends[0]};
}

// Until it has closed its output, which it does when it ends; false when it does not.
bool readAll(int output, std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd entry{output, POLLIN, 0};
        if (left.count() <= 0 || poll(&entry, 1, static_cast<int>(left.count())) == 0) return false;
        char some[4096];
        const ssize_t count = read(output, some, sizeof some);
        if (count > 0) text.append(some, static_cast<size_t>(count));
        if (count == 0) return true;
    }
}

std::string textOf(int status) {
    if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
    return "exit code " + std::to_string(WEXITSTATUS(status));
}

} // namespace

ExitOutcome exitUnderTraffic(const std::string& link, const std::string& device, std::uint64_t seed) {
    const Child child = start(link, device, std::to_string(seed));
    ExitOutcome outcome;
    const bool ended = readAll(child.output, outcome.output);
    if (!ended) kill(child.process, SIGKILL);
    int status = 0;
    waitpid(child.process, &status, 0);
    close(child.output);
    const size_t report = outcome.output.find("Sanitizer");
    if (report != std::string::npos) outcome.report = outcome.output.substr(report);
    outcome.how = ended ? textOf(status) : "does not end";
    return outcome;
}
