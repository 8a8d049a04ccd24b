#include "Report.h"

#include <algorithm>
#include <cstring>

#include "Rules.h"
#include "Text.h"

namespace hostcheck {

namespace {

constexpr size_t outcomeColumns = 8;
constexpr size_t nameColumns = 28;

std::string seconds(Time time) {
    return inUnits(time, std::chrono::seconds(1), 3);
}

std::string quoted(const std::string& text) {
    std::string json = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') json += '\\';
        json += c;
    }
    return json + '"';
}

std::string listed(const std::vector<std::string>& lines) {
    std::string json = "[";
    for (const std::string& line : lines) json += (json.size() > 1 ? "," : "") + quoted(line);
    return json + "]";
}

std::string escaped(const std::string& text) {
    std::string xml;
    for (const char c : text) {
        if (c == '&') {
            xml += "&amp;";
        } else if (c == '<') {
            xml += "&lt;";
        } else if (c == '>') {
            xml += "&gt;";
        } else if (c == '"') {
            xml += "&quot;";
        } else {
            xml += c;
        }
    }
    return xml;
}

std::string ruleInWords(unsigned number) {
    const Rule& one = rule(number);
    return "rule " + std::to_string(number) + " (" + nameOf(one.strength) + "): " + one.text;
}

std::string jsonOf(const Result& result) {
    std::string json = "{\"name\":" + quoted(result.check->name) + ",\"group\":" + quoted(result.check->group) +
                       ",\"outcome\":" + quoted(nameOf(result.outcome)) + ",\"rule\":" +
                       std::to_string(result.outcome == Outcome::Failed ? result.rule : result.check->rule) +
                       ",\"seconds\":" + seconds(result.took) + ",\"text\":" + quoted(result.text) +
                       ",\"notes\":" + listed(result.notes);
    if (result.outcome == Outcome::Failed) json += ",\"wire\":" + listed(result.wire);
    return json + "}";
}

size_t count(const std::vector<Result>& results, Outcome outcome) {
    return static_cast<size_t>(
        std::count_if(results.begin(), results.end(), [&](const Result& one) { return one.outcome == outcome; }));
}

std::string junitOf(const Result& result) {
    std::string xml = "  <testcase classname=\"" + escaped(result.check->group) + "\" name=\"" +
                      escaped(result.check->name) + "\" time=\"" + seconds(result.took) + "\"";
    if (result.outcome == Outcome::Passed) return xml + "/>\n";
    if (result.outcome == Outcome::Skipped)
        return xml + "><skipped message=\"" + escaped(result.text) + "\"/></testcase>\n";
    xml +=
        "><failure message=\"" + escaped("expected: " + result.text) + "\">" + escaped(ruleInWords(result.rule)) + '\n';
    for (const std::string& line : result.wire) xml += escaped(line) + '\n';
    return xml + "</failure></testcase>\n";
}

} // namespace

const char* nameOf(Outcome outcome) {
    if (outcome == Outcome::Passed) return "pass";
    return outcome == Outcome::Failed ? "fail" : "skipped";
}

std::string asText(const Result& result) {
    std::string text = filledUp(nameOf(result.outcome), outcomeColumns) + filledUp(result.check->name, nameColumns);
    if (result.outcome == Outcome::Skipped) return text + result.text + "\n";
    text += seconds(result.took) + " s\n";
    for (const std::string& note : result.notes) text += "        " + note + "\n";
    if (result.outcome == Outcome::Passed) return text;
    text += "        expected: " + result.text + "\n        " + ruleInWords(result.rule) + "\n";
    for (const std::string& line : result.wire) text += "        " + line + "\n";
    return text;
}

std::string summary(const std::vector<Result>& results) {
    std::string text = std::to_string(count(results, Outcome::Passed)) + " passed, " +
                       std::to_string(count(results, Outcome::Failed)) + " failed, " +
                       std::to_string(count(results, Outcome::Skipped)) + " skipped\n";
    for (const Result& one : results) {
        if (one.outcome == Outcome::Failed)
            text += std::string("  failed: ") + one.check->name + ", rule " + std::to_string(one.rule) + "\n";
    }
    return text;
}

std::string asJson(const std::vector<Result>& results) {
    std::string json = "{\"passed\":" + std::to_string(count(results, Outcome::Passed)) +
                       ",\"failed\":" + std::to_string(count(results, Outcome::Failed)) +
                       ",\"skipped\":" + std::to_string(count(results, Outcome::Skipped)) + ",\"checks\":[";
    for (const Result& one : results) json += (&one == &results.front() ? "\n" : ",\n") + jsonOf(one);
    return json + "\n]}\n";
}

std::string asJunit(const std::vector<Result>& results) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"zent-hostcheck\" tests=\"" +
                      std::to_string(results.size()) + "\" failures=\"" +
                      std::to_string(count(results, Outcome::Failed)) + "\" skipped=\"" +
                      std::to_string(count(results, Outcome::Skipped)) + "\">\n";
    for (const Result& one : results) xml += junitOf(one);
    return xml + "</testsuite>\n";
}

std::string checkList(const std::vector<const Check*>& checks) {
    std::string text;
    const char* group = "";
    for (const Check* check : checks) {
        if (std::strcmp(group, check->group) != 0) text += std::string(check->group) + "\n";
        group = check->group;
        const Rule& one = rule(check->rule);
        text += std::string("  ") + check->name;
        if (check->wires != Wires::All) text += check->wires == Wires::Serial ? "  [serial line]" : "  [bus]";
        if (check->destructive) text += "  [destructive]";
        text += std::string("\n      does:    ") + check->does + "\n      expects: " + check->expects +
                "\n      why:     rule " + std::to_string(one.number) + ", " + nameOf(one.strength) + ": " +
                one.reason + "\n";
    }
    return text;
}

} // namespace hostcheck
