// get and set.
#include <optional>
#include <string>
#include <vector>

#include "Declare.h"
#include "command/StateText.h"

namespace command {

using hostlink::StateId;
using hostlink::StateValue;
using hostlink::Value;

namespace {

struct GetOptions {
    std::vector<std::string> states;
};

struct SetOptions {
    std::vector<std::string> assignments;
    bool confirm = false;
};

void print(Output& output, const StateValue& held) {
    output.line(stateLine(held.state, held.value), stateObject(held.state, held.value));
}

ExitCode get(Program& program, const GetOptions& options) {
    std::vector<StateId> states;
    for (const std::string& text : options.states) states.push_back(stateFrom(text));
    const auto values = program.host().getMany(states, program.call());
    if (!values) return program.output().failed(values);
    for (const StateValue& held : *values) print(program.output(), held);
    return ExitCode::Good;
}

ExitCode set(Program& program, const SetOptions& options) {
    std::vector<Assignment> assignments;
    std::vector<StateId> unknown; // what is to be asked for its encoding
    for (const std::string& text : options.assignments) {
        assignments.push_back(Assignment::from(text));
        if (asksForEncoding(assignments.back())) unknown.push_back(assignments.back().state);
    }
    std::vector<StateValue> held;
    if (!unknown.empty()) {
        const auto values = program.host().getMany(unknown, program.call());
        if (!values && values.outcome() != hostlink::Outcome::WithoutState) return program.output().failed(values);
        if (values) held = *values;
    }
    std::vector<StateValue> wanted;
    for (const Assignment& assignment : assignments) {
        std::optional<Value> now;
        for (const StateValue& each : held) {
            if (each.state == assignment.state) now = each.value;
        }
        wanted.push_back({assignment.state, valueFrom(assignment, now)});
    }
    hostlink::Call call = program.call();
    if (options.confirm) call.confirmed();
    const auto done = program.host().setMany(wanted, call);
    if (!done) return program.output().failed(done);
    for (const StateValue& each : wanted) print(program.output(), each);
    return ExitCode::Good;
}

} // namespace

void declareGet(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<GetOptions>();
    const auto command = declareCommand(app, chosen, "get", "Ask the host for states", options, get);
    command.option("STATE", options->states, "Names or numbers of states; hostlink states lists them")
        .required()
        .plain();
}

void declareSet(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<SetOptions>();
    const auto command = declareCommand(app, chosen, "set", "Set states of the host", options, set);
    command
        .option("STATE=VALUE", options->assignments,
                "A value's name, a number, a text, or nil; in the encoding in which the host holds it, or with "
                ":u8 to :u64, :i8 to :i64, :text, :hex behind it in that one")
        .required()
        .plain();
    command.flag("--confirm", options->confirm, "Read the state back, and set it again until the host holds the value");
}

} // namespace command
