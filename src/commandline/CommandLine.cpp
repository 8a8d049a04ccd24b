#include "CommandLine.h"

#include <utility>

#include <CLI/CLI.hpp>

#include "rows.h"

namespace commandline {

template <typename Value> Option Command::option(const std::string& name, Value& value, const std::string& text) const {
    return Option(*app->add_option(name, value, text));
}

template Option Command::option(const std::string&, std::string&, const std::string&) const;
template Option Command::option(const std::string&, int&, const std::string&) const;
template Option Command::option(const std::string&, unsigned short&, const std::string&) const;
template Option Command::option(const std::string&, unsigned&, const std::string&) const;
template Option Command::option(const std::string&, long&, const std::string&) const;
template Option Command::option(const std::string&, unsigned long&, const std::string&) const;
template Option Command::option(const std::string&, double&, const std::string&) const;
template Option Command::option(const std::string&, std::optional<std::string>&, const std::string&) const;
template Option Command::option(const std::string&, std::optional<int>&, const std::string&) const;
template Option Command::option(const std::string&, std::vector<std::string>&, const std::string&) const;

template <typename Value>
Option Command::option(const std::string& name, std::function<void(const Value&)> take, const std::string& text) const {
    const auto taken = [name, take = std::move(take)](const Value& value) {
        try {
            take(value);
        } catch (const Wrong& wrong) {
            throw CLI::ValidationError(name, wrong.what());
        }
    };
    return Option(*app->add_option_function<Value>(name, taken, text));
}

template Option Command::option(const std::string&, std::function<void(const int&)>, const std::string&) const;
template Option Command::option(const std::string&, std::function<void(const unsigned long&)>,
                                const std::string&) const;
template Option Command::option(const std::string&, std::function<void(const double&)>, const std::string&) const;
template Option Command::option(const std::string&, std::function<void(const std::vector<std::string>&)>,
                                const std::string&) const;

template <typename Value> Option Command::flag(const std::string& name, Value& value, const std::string& text) const {
    return Option(*app->add_flag(name, value, text));
}

template Option Command::flag(const std::string&, bool&, const std::string&) const;
template Option Command::flag(const std::string&, std::optional<bool>&, const std::string&) const;

Command Command::command(const std::string& name, const std::string& text) const {
    return Command(*app->add_subcommand(name, text));
}

Command Command::hidden() const {
    app->group("");
    return *this;
}

void Command::whenGiven(std::function<void()> call) const {
    app->callback(std::move(call));
}

void Command::whenRead(std::function<void()> call) const {
    app->final_callback(std::move(call));
}

bool Command::isGiven() const {
    return app->parsed();
}

std::string Command::text() const {
    return app->get_description();
}

std::string Command::footer() const {
    return app->get_footer();
}

std::vector<OptionRow> Command::options() const {
    return optionsOf(*app);
}

std::vector<CommandRow> Command::commands() const {
    return commandsOf(*app);
}

CommandLine::CommandLine(const std::string& text) : CommandLine(std::make_unique<CLI::App>(text)) {}

CommandLine::CommandLine(std::unique_ptr<CLI::App> made) : Command(*made), parser(std::move(made)) {}

CommandLine::~CommandLine() = default;

void CommandLine::footer(const std::string& text) {
    parser->footer(text);
}

void CommandLine::columnWidth(std::size_t characters) {
    parser->get_formatter()->column_width(characters);
}

void CommandLine::needsCommand(bool ownOptionsBehind) {
    parser->require_subcommand(1);
    parser->fallthrough(ownOptionsBehind);
}

std::optional<int> CommandLine::read(int argc, const char* const* argv) {
    try {
        parser->parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return parser->exit(error) == 0 ? 0 : badUsage;
    }
    return std::nullopt;
}

void CommandLine::take(const std::vector<std::string>& words) {
    std::vector<std::string> backwards(words.rbegin(), words.rend()); // as the parser takes them
    try {
        parser->parse(backwards);
    } catch (const CLI::ParseError& error) {
        throw Wrong(error.what());
    }
}

} // namespace commandline
