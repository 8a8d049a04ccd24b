#include "PlayedProgram.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <thread>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "command/UsageError.h"

namespace command {

namespace {

std::string withDevice(std::string word, const std::string& device) {
    for (std::size_t at = word.find("{}"); at != std::string::npos; at = word.find("{}", at + device.size()))
        word.replace(at, 2, device);
    return word;
}

// With the signals as a program expects them: this one has some blocked and others ignored.
class Attributes {
public:
    Attributes() {
        sigset_t none;
        sigset_t usual;
        sigemptyset(&none);
        sigemptyset(&usual);
        sigaddset(&usual, SIGPIPE);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &usual);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    }
    ~Attributes() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    posix_spawnattr_t attributes{};
    posix_spawn_file_actions_t actions{};
};

} // namespace

PlayedProgram::PlayedProgram(std::vector<std::string> words, const std::string& device) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) word = withDevice(word, device);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const Attributes with;
    const int error =
        ::posix_spawnp(&process, arguments[0], &with.actions, &with.attributes, arguments.data(), environ);
    if (error != 0) throw UsageError("cannot start " + words[0] + ": " + std::generic_category().message(error));
}

PlayedProgram::~PlayedProgram() {
    stop();
}

std::optional<int> PlayedProgram::ended() {
    int status = 0;
    if (!code && ::waitpid(process, &status, WNOHANG) == process)
        code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return code;
}

void PlayedProgram::stop() {
    constexpr std::chrono::seconds patience{5};
    constexpr std::chrono::milliseconds interval{10};
    if (ended()) return;
    ::kill(process, SIGTERM);
    const auto until = std::chrono::steady_clock::now() + patience;
    while (!ended()) {
        if (std::chrono::steady_clock::now() >= until) ::kill(process, SIGKILL);
        std::this_thread::sleep_for(interval);
    }
}

} // namespace command
