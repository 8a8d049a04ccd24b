#include "Option.h"

#include <CLI/CLI.hpp>

namespace commandline {

Option Option::argument(const std::string& name) const {
    option->type_name(name);
    return *this;
}

Option Option::plain() const {
    option->option_text(" ");
    return *this;
}

Option Option::group(const std::string& heading) const {
    option->group(heading);
    return *this;
}

Option Option::showPreset() const {
    option->capture_default_str();
    return *this;
}

Option Option::required() const {
    option->required();
    return *this;
}

Option Option::excludes(Option other) const {
    option->excludes(other.option);
    return *this;
}

Option Option::needs(Option other) const {
    option->needs(other.option);
    return *this;
}

Option Option::arguments(int count) const {
    option->expected(count);
    return *this;
}

Option Option::arguments(int fewest, int most) const {
    option->expected(fewest, most);
    return *this;
}

Option Option::repeatable() const {
    option->take_all();
    return *this;
}

Option Option::oneOf(const std::vector<std::string>& words) const {
    option->check(CLI::IsMember(words));
    return *this;
}

Option Option::existingFile() const {
    option->check(CLI::ExistingFile);
    return *this;
}

Option Option::existingFolder() const {
    option->check(CLI::ExistingDirectory);
    return *this;
}

Option Option::positive() const {
    option->check(CLI::PositiveNumber);
    return *this;
}

Option Option::notNegative() const {
    option->check(CLI::NonNegativeNumber);
    return *this;
}

template <typename Number> Option Option::range(Number lowest, Number highest) const {
    option->check(CLI::Range(lowest, highest));
    return *this;
}

template Option Option::range(int, int) const;
template Option Option::range(unsigned, unsigned) const;
template Option Option::range(long, long) const;
template Option Option::range(unsigned long, unsigned long) const;

Option Option::check(std::function<std::string(const std::string&)> wrong) const {
    option->check(CLI::Validator([wrong = std::move(wrong)](const std::string& text) { return wrong(text); }, ""));
    return *this;
}

} // namespace commandline
