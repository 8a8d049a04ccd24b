/// @file
/// What an option of the command line may be given, and how help shows it.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class Option;
} // namespace CLI

namespace commandline {

/// A handle, good as long as its `CommandLine`. Each function returns it again: they are written behind each other.
class Option {
public:
    explicit Option(CLI::Option& parsers) : option(&parsers) {}

    /// What its argument is called in help: "MS".
    Option argument(const std::string& name) const;
    /// Help shows no argument: its name says it.
    Option plain() const;
    /// Help lists it under this heading.
    Option group(const std::string& heading) const;
    /// Help shows the value that there is now.
    Option showPreset() const;

    Option required() const;
    Option excludes(Option other) const;
    Option needs(Option other) const;
    /// How many arguments it takes at a time.
    Option arguments(int count) const;
    Option arguments(int fewest, int most) const;
    /// It may be given more than once.
    Option repeatable() const;

    Option oneOf(const std::vector<std::string>& words) const;
    Option existingFile() const;
    Option existingFolder() const;
    Option positive() const;
    Option notNegative() const;
    /// A number from `lowest` to `highest`, both included: an int, an unsigned, a long or an unsigned long.
    template <typename Number> Option range(Number lowest, Number highest) const;
    /// `wrong` is given the argument as it stands and returns what is wrong with it; nothing: it is good.
    Option check(std::function<std::string(const std::string&)> wrong) const;

private:
    CLI::Option* option;
};

} // namespace commandline
