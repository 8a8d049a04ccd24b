/// @file
/// What the program prints.
#pragma once

#include <functional>
#include <iosfwd>
#include <mutex>
#include <string>

#include <hostlinkclient/Result.h>
#include <hostlinkclient/Value.h>
#include <json/Json.h>

#include "ExitCode.h"

namespace command {

/// Lines, as text or as one JSON object each, from any thread. Each is written at once.
class Output {
public:
    /// @param readerIsGone called, once or more often, when nobody reads any more
    Output(std::ostream& lines, std::ostream& errors, bool asJson, std::function<void()> readerIsGone);

    bool isJson() const { return inJson; }
    /// One line: the text, or the object.
    void line(const std::string& text, const json::Object& object);
    /// A line for people only.
    void note(const std::string& text);
    /// What went wrong; in JSON as a line of its own: {"error":"LinkDown","text":…,"mayHaveBeenExecuted":false}.
    ExitCode failed(const hostlink::ResultBase& result);
    ExitCode failed(ExitCode code, const std::string& what, const std::string& text);

private:
    void print(const std::string& text);

    std::ostream& out;
    std::ostream& err;
    const bool inJson;
    const std::function<void()> gone;
    std::mutex mutex; ///< guards both streams
};

/// What every line about a state has: "state", "number", "type", "value", and "name" where the value has one for this
/// state, "hex" where it is binary.
json::Object stateObject(const hostlink::StateId& state, const hostlink::Value& value);

/// "Playing (1)"; bytes that a terminal would obey are shown in hexadecimal digits.
std::string valueText(const hostlink::StateId& state, const hostlink::Value& value);

/// "PlayerPlayStatus = Playing (1)"
std::string stateLine(const hostlink::StateId& state, const hostlink::Value& value);

} // namespace command
