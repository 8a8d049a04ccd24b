// explain: what a number, a name, bytes or a line of the log mean.
#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkVocabulary.h>

#include "Declare.h"
#include "command/StateText.h"
#include "command/UsageError.h"
#include "command/decode/HexText.h"
#include "command/decode/Words.h"
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

// Bytes are several words, or too many digits for any number that means something by itself.
bool isBytes(const std::vector<std::string>& words, const std::string& text) {
    constexpr std::size_t longestNumber = 10;
    const bool several = words.size() > 1 || text.find(' ') != std::string::npos || text.size() > longestNumber;
    return several && std::all_of(text.begin(), text.end(), [](unsigned char c) {
               return std::isxdigit(c) != 0 || std::isspace(c) != 0 || c == ',' || c == 'x';
           });
}

// Packets, or a message without any around it.
void tellBytes(Output& output, const std::string& text) {
    Piece piece;
    piece.bytes = bytesOf(text);
    Words words(output);
    // No message has the number that a packet's start mark would be.
    if (piece.bytes.size() > 2 && messageIdToString.count(HostLinkMessage::messageId(piece.bytes)) != 0)
        words.tellMessage(piece.bytes);
    else
        words.tellAll(piece);
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
    if (!any && isBytes(options.words, text)) {
        tellBytes(output, text);
        return ExitCode::Good;
    }
    if (!any) any = tellLine(output, text);
    if (!any) throw UsageError("'" + text + "' is no state, message, encoding, bytes or known line of the log");
    return ExitCode::Good;
}

} // namespace

void declareExplain(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<ExplainOptions>();
    const auto command = declareCommand(
        app, chosen, "explain", "Tell what a number, a name, bytes or a line of the library's log mean, and what to do",
        options, explain);
    command.option("WHAT", options->words, "Number, name, bytes in hexadecimal digits, or line").required().plain();
}

} // namespace command
