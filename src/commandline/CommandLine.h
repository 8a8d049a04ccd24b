/// @file
/// The command line of a program: its options and commands, what they may be given, and the text of --help.
///
/// The one place that includes the parser: its templates take longer to compile than the program that reads its options
/// with them.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Option.h"
#include "OptionRow.h"

namespace CLI {
class App;
} // namespace CLI

namespace commandline {

/// What a program that was called wrongly ends with.
constexpr int badUsage = 2;

/// A program's options, or those of one of its commands. A handle: it is copied, and good as long as its `CommandLine`.
///
/// A value that is filled in must live as long as the command line and may be a std::string, an int, a long, an
/// unsigned one of these or an unsigned short, a double, an std::optional of a string or an int, or a std::vector of
/// strings; what a flag fills in a bool or an optional one. The parser folds the texts of help.
class Command {
public:
    explicit Command(CLI::App& parser) : app(&parser) {}

    /// @param name "--baud", "--verbose,-v", or without the hyphens that of a positional argument
    template <typename Value> Option option(const std::string& name, Value& value, const std::string& text) const;
    /// Calls `take` when the option was given. A `Wrong` that it throws is told as other mistakes are.
    template <typename Value>
    Option option(const std::string& name, std::function<void(const Value&)> take, const std::string& text) const;
    template <typename Value> Option flag(const std::string& name, Value& value, const std::string& text) const;

    Command command(const std::string& name, const std::string& text) const;
    /// Help does not list it.
    Command hidden() const;
    /// Calls it while the command line is read, when this is the command that was given.
    void whenGiven(std::function<void()> call) const;
    /// Calls it after everything has been filled in.
    void whenRead(std::function<void()> call) const;
    /// After it was read: whether this is the command that was given.
    bool isGiven() const;

    std::string text() const;
    std::string footer() const;
    /// In the order in which they are declared, without --help.
    std::vector<OptionRow> options() const;
    /// Without the hidden ones.
    std::vector<CommandRow> commands() const;

private:
    CLI::App* app;
};

/// What a command line holds cannot be taken; the text says why.
class Wrong : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The whole of it. One thread.
class CommandLine : public Command {
public:
    explicit CommandLine(const std::string& text = "");
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Below the options in the text of --help.
    void footer(const std::string& text);
    using Command::footer;
    /// How wide the names of options are in the text of --help.
    void columnWidth(std::size_t characters);
    /// One command must be given; the program's own options may stand behind its name too.
    void needsCommand(bool ownOptionsBehind = false);

    /// Reads the command line, fills the values in; prints the text of --help, or what is wrong.
    /// @return what the program is to end with at once; none: it is to go on
    std::optional<int> read(int argc, const char* const* argv);
    /// The same with the words behind a program's name.
    /// @throw Wrong they cannot be taken
    void take(const std::vector<std::string>& words);

private:
    explicit CommandLine(std::unique_ptr<CLI::App> made);

    std::unique_ptr<CLI::App> parser;
};

} // namespace commandline
