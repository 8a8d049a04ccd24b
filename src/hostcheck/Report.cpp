#include "Report.h"

#include <algorithm>
#include <cstring>

#include <json/Json.h>

#include "Rules.h"
#include "Text.h"

namespace hostcheck {

namespace {

constexpr size_t outcomeColumns = 8;
constexpr size_t nameColumns = 28;

std::string seconds(Time time) {
    return inUnits(time, std::chrono::seconds(1), 3);
}

std::string listed(const std::vector<std::string>& lines) {
    std::string list = "[";
    for (const std::string& line : lines) list += (list.size() > 1 ? "," : "") + json::quoted(line);
    return list + "]";
}

std::string ruleInWords(unsigned number) {
    const Rule& one = rule(number);
    return "rule " + std::to_string(number) + " (" + nameOf(one.strength) + "): " + one.text;
}

std::string jsonOf(const Result& result) {
    json::Object object;
    object.text("name", result.check->name).text("group", result.check->group).text("outcome", nameOf(result.outcome));
    object.number("rule", result.outcome == Outcome::Failed ? result.rule : result.check->rule);
    object.raw("seconds", seconds(result.took)).text("text", result.text).raw("notes", listed(result.notes));
    if (result.outcome == Outcome::Failed) object.raw("wire", listed(result.wire));
    return object.print();
}

size_t count(const std::vector<Result>& results, Outcome outcome) {
    return static_cast<size_t>(
        std::count_if(results.begin(), results.end(), [&](const Result& one) { return one.outcome == outcome; }));
}

std::string junitOf(const Result& result) {
    std::string xml = "  <testcase classname=\"" + asXml(result.check->group) + "\" name=\"" +
                      asXml(result.check->name) + "\" time=\"" + seconds(result.took) + "\"";
    if (result.outcome == Outcome::Passed) return xml + "/>\n";
    if (result.outcome == Outcome::Skipped)
        return xml + "><skipped message=\"" + asXml(result.text) + "\"/></testcase>\n";
    xml += "><failure message=\"" + asXml("expected: " + result.text) + "\">" + asXml(ruleInWords(result.rule)) + '\n';
    for (const std::string& line : result.wire) xml += asXml(line) + '\n';
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
    std::string checks;
    for (const Result& one : results) checks += (checks.empty() ? "\n" : ",\n") + jsonOf(one);
    json::Object object;
    for (const Outcome each : {Outcome::Passed, Outcome::Failed, Outcome::Skipped})
        object.number(each == Outcome::Skipped ? "skipped" : std::string(nameOf(each)) + "ed", count(results, each));
    return object.raw("checks", "[" + checks + "\n]").print() + "\n";
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
