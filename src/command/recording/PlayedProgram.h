/// @file
/// A program that talks to what is played.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace command {

/// Runs as long as the object, unless it ends by itself. What it prints goes to the standard error.
class PlayedProgram {
public:
    /// @param words program and arguments; "{}" in one of them stands for `device`
    /// @throw UsageError it cannot be started
    PlayedProgram(std::vector<std::string> words, const std::string& device);
    ~PlayedProgram();
    PlayedProgram(const PlayedProgram&) = delete;
    PlayedProgram& operator=(const PlayedProgram&) = delete;

    /// Its exit code, or 128 and the signal's number, once it has ended.
    std::optional<int> ended();
    /// Asks it to end, waits, and kills it after five seconds.
    void stop();

private:
    pid_t process = -1;
    std::optional<int> code;
};

} // namespace command
