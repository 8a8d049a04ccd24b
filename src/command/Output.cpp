#include "Output.h"

#include <ostream>
#include <utility>

#include "Hex.h"

namespace command {

using hostlink::StateId;
using hostlink::Value;

namespace {

bool isPrintable(const std::string& text) {
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code < 0x20 || code == 0x7F) return false;
    }
    return true;
}

// A terminal obeys control characters: bytes that are no text are shown as hexadecimal digits.
std::string plainText(const Value& value) {
    std::string text = value.print();
    if (!value.isBinary() || isPrintable(text)) return text;
    return "0x" + hexOf(*value.bytes());
}

} // namespace

Output::Output(std::ostream& lines, std::ostream& errors, bool asJson, std::function<void()> readerIsGone)
    : out(lines), err(errors), inJson(asJson), gone(std::move(readerIsGone)) {}

void Output::print(const std::string& text) {
    bool good = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        out << text << std::endl;
        good = out.good();
    }
    if (!good) gone();
}

void Output::line(const std::string& text, const json::Object& object) {
    print(inJson ? object.print() : text);
}

void Output::note(const std::string& text) {
    if (!inJson) print(text);
}

ExitCode Output::failed(const hostlink::ResultBase& result) {
    const ExitCode code = exitCodeOf(result.outcome());
    if (!inJson) return failed(code, nameOf(result.outcome()), result.text());
    json::Object object;
    object.text("error", nameOf(result.outcome()));
    object.text("text", result.text());
    object.truth("mayHaveBeenExecuted", result.mayHaveBeenExecuted());
    print(object.print());
    return code;
}

ExitCode Output::failed(ExitCode code, const std::string& what, const std::string& text) {
    if (inJson) {
        print(json::Object().text("error", what).text("text", text).print());
    } else {
        const std::lock_guard<std::mutex> lock(mutex);
        err << "hostlink: " << text << std::endl;
    }
    return code;
}

json::Object stateObject(const StateId& state, const Value& value) {
    json::Object object;
    object.text("state", state.name())
        .number("number", state.number())
        .text("type", hostlink::nameOf(value.encoding()));
    if (value.isNil()) return object.null("value");
    if (value.isBinary()) return object.text("value", *value.text()).text("hex", hexOf(*value.bytes()));
    object.raw("value", value.print());
    const std::string named = value.print(state);
    if (named != value.print()) object.text("name", named);
    return object;
}

std::string valueText(const StateId& state, const Value& value) {
    const std::string plain = plainText(value);
    const std::string named = value.isNumber() ? value.print(state) : plain;
    return named == plain ? plain : named + " (" + plain + ")";
}

std::string stateLine(const StateId& state, const Value& value) {
    return state.name() + " = " + valueText(state, value);
}

} // namespace command
