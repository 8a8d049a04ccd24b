// explain: what a number, a name, bytes or a line of the log mean.
#include <string>
#include <vector>

#include <hostlink/HostLinkPrinter.h>
#include <hostlink/HostLinkVocabulary.h>

#include "Declare.h"
#include "command/StateText.h"
#include "command/UsageError.h"
#include "command/explain/Troubleshooting.h"

namespace command {

namespace {

struct ExplainOptions {
    std::vector<std::string> words;
};

void tell(Output& output, const char* kind, const std::string& name, unsigned number, const std::string& more = "") {
    json::Object object;
    object.text("kind", kind).text("name", name).number("number", number);
    if (!more.empty()) object.text("text", more);
    output.line(std::string(kind) + " " + name + " = " + std::to_string(number) + (more.empty() ? "" : ": " + more),
                object);
}

std::string valuesOf(uint16_t state) {
    const auto values = stateAndValueToString.find(state);
    std::string text;
    if (values == stateAndValueToString.end()) return text;
    for (const auto& [value, name] : values->second)
        text += (text.empty() ? "" : ", ") + name + " " + std::to_string(value);
    return text;
}

// Whether the text is one of the table's names or numbers.
template <typename Table> bool tellFrom(Output& output, const char* kind, const Table& table, const std::string& text) {
    const auto number = numberFrom(text);
    bool any = false;
    for (const auto& [key, name] : table) {
        const auto code = static_cast<unsigned>(key);
        if (name != text && !(number && *number == hostlink::Value(code))) continue;
        tell(output, kind, name, code);
        any = true;
    }
    return any;
}

bool tellState(Output& output, const std::string& text) {
    const hostlink::StateId state(text);
    if (!state.isValid() || stateToString.count(state.number()) == 0) return false;
    tell(output, "state", state.name(), state.number(), valuesOf(state.number()));
    return true;
}

bool tellLine(Output& output, const std::string& text) {
    const auto found = explanationsOf(text, troubleshootingPage());
    for (const Explanation& each : found) {
        json::Object object;
        object.text("kind", "line").text("line", each.line).text("meaning", each.meaning).text("remedy", each.remedy);
        output.line(each.line + (each.meaning.empty() ? "" : "\n    means: " + each.meaning) +
                        "\n    do: " + each.remedy,
                    object);
    }
    return !found.empty();
}

ExitCode explain(Program& program, const ExplainOptions& options) {
    std::string text;
    for (const std::string& word : options.words) text += (text.empty() ? "" : " ") + word;
    Output& output = program.output();
    bool any = tellState(output, text);
    any |= tellFrom(output, "message", messageIdToString, text);
    any |= tellFrom(output, "encoding", encodingToString, text);
    any |= tellFrom(output, "LED command", ledApiCmdToString, text);
    any |= tellFrom(output, "key event", buttonStateToString, text);
    if (!any) any = tellLine(output, text);
    if (!any) {
        throw UsageError(
            "'" + text +
            "' is no state, message, encoding or known line of the log; bytes are for hostlink decode --bytes");
    }
    return ExitCode::Good;
}

} // namespace

void declareExplain(CLI::App& app, Run& chosen) {
    auto options = std::make_shared<ExplainOptions>();
    auto* command = declareCommand(app, chosen, "explain",
                                   "Tell what a number, a name or a line of the library's log means, and what to do",
                                   options, explain);
    command->add_option("WHAT", options->words, "Number, name or line")->required()->option_text(" ");
}

} // namespace command
