// ping: how long the host takes to answer.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "Declare.h"
#include "command/StateText.h"

namespace command {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

struct PingOptions {
    unsigned count = 0;  ///< 0: until Ctrl-C
    int interval = 1000; ///< milliseconds
    std::string state = "HostFirmwareVersion";
};

std::string print(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", number);
    return text;
}

/// The times of all answers.
class Times {
public:
    void add(double milliseconds) { all.push_back(milliseconds); }
    std::size_t count() const { return all.size(); }
    void sort() { std::sort(all.begin(), all.end()); }
    /// Sorted, and not empty.
    double least() const { return all.front(); }
    double most() const { return all.back(); }
    double median() const { return all[all.size() / 2]; }
    double average() const {
        double sum = 0;
        for (const double each : all) sum += each;
        return sum / static_cast<double>(all.size());
    }
    /// How many lie from `from` to before `to`.
    std::size_t between(double from, double to) const {
        return static_cast<std::size_t>(
            std::count_if(all.begin(), all.end(), [&](double each) { return from <= each && each < to; }));
    }

private:
    std::vector<double> all;
};

struct HistogramRow {
    double below; ///< milliseconds; not below the row before
    std::size_t count;
};

// From the first row that has any; each is twice as long as the one before.
std::vector<HistogramRow> histogramOf(const Times& times) {
    constexpr double shortest = 0.125;
    std::vector<HistogramRow> rows;
    double from = 0;
    while (from <= times.most()) {
        const double to = from > 0 ? 2 * from : shortest;
        const std::size_t count = times.between(from, to);
        if (!rows.empty() || count > 0) rows.push_back({to, count});
        from = to;
    }
    return rows;
}

std::string objectsOf(const std::vector<HistogramRow>& rows) {
    std::string list;
    for (const HistogramRow& row : rows) {
        list += list.empty() ? "" : ",";
        list += json::Object().raw("belowMs", print(row.below)).number("answers", row.count).print();
    }
    return "[" + list + "]";
}

void printHistogram(Output& output, const std::vector<HistogramRow>& rows) {
    constexpr std::size_t width = 40;
    std::size_t largest = 1;
    for (const HistogramRow& row : rows) largest = std::max(largest, row.count);
    for (const HistogramRow& row : rows) {
        char head[48];
        std::snprintf(head, sizeof head, "  < %10.3f ms %6zu ", row.below, row.count);
        output.note(head + std::string(row.count * width / largest, '#'));
    }
}

void printSummary(Output& output, unsigned sent, Times& times) {
    times.sort();
    const double lost = sent == 0 ? 0 : 100.0 * static_cast<double>(sent - times.count()) / sent;
    json::Object object;
    object.number("sent", sent).number("answered", times.count()).raw("lossPercent", print(lost));
    std::string text =
        std::to_string(sent) + " sent, " + std::to_string(times.count()) + " answered, " + print(lost) + " % lost";
    std::vector<HistogramRow> rows;
    if (times.count() > 0) {
        rows = histogramOf(times);
        object.raw("leastMs", print(times.least())).raw("medianMs", print(times.median()));
        object.raw("averageMs", print(times.average())).raw("mostMs", print(times.most()));
        object.raw("histogram", objectsOf(rows));
        text += "; least " + print(times.least()) + ", median " + print(times.median()) + ", average " +
                print(times.average()) + ", most " + print(times.most()) + " ms";
    }
    output.line(text, object);
    printHistogram(output, rows);
}

ExitCode ping(Program& program, const PingOptions& options) {
    const hostlink::StateId state = stateFrom(options.state);
    Output& output = program.output();
    Times times;
    ExitCode lastFailure = ExitCode::Good;
    unsigned sent = 0;
    while (!program.stop().isRequested() && (options.count == 0 || sent < options.count)) {
        const auto began = Clock::now();
        const auto answer = program.host().get(state, program.call());
        if (program.stop().isRequested() && answer.outcome() == hostlink::Outcome::Cancelled) break;
        ++sent;
        const double took = Milliseconds(Clock::now() - began).count();
        // Whatever the host says of the state, it has answered.
        if (answer || exitCodeOf(answer.outcome()) == ExitCode::HostSaidNo) {
            times.add(took);
            output.line("answer " + std::to_string(sent) + ": " + print(took) + " ms",
                        json::Object().number("answer", sent).raw("ms", print(took)));
        } else {
            lastFailure = output.failed(answer);
        }
        const auto next = began + std::chrono::milliseconds(options.interval);
        const bool last = options.count != 0 && sent == options.count;
        if (!last) program.stop().waitFor(std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()));
    }
    printSummary(output, sent, times);
    return times.count() > 0 ? ExitCode::Good : lastFailure;
}

} // namespace

void declarePing(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<PingOptions>();
    const auto command = declareCommand(
        app, chosen, "ping", "Ask the host again and again, and tell how long it takes to answer", options, ping);
    command.option("--count", options->count, "Ask so many times; without it until Ctrl-C").argument("N");
    command.option("--interval", options->interval, "From one question to the next, in milliseconds")
        .argument("MS")
        .notNegative()
        .showPreset();
    command.option("--state", options->state, "The state that is asked for").argument("STATE").showPreset();
}

} // namespace command
