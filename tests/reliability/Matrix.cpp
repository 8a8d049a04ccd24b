#include "Matrix.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "LinkSet.h"
#include "PatientRun.h"
#include "TruthCase.h"

namespace truth {

namespace {

constexpr double rates[] = {0.001, 0.003, 0.01, 0.02, 0.05, 0.1};
constexpr std::chrono::seconds progressEvery{15};
constexpr std::chrono::minutes longEnough{5}; // for rounds in which frame ids come round

struct Cell {
    FaultKind kind;
    double rate;
    Figures figures;
    std::map<Limit, uint64_t> exceptions;
    unsigned rounds = 0;
};

std::vector<Cell> allCells() {
    std::vector<Cell> cells{{noFaults(), 0, {}, {}}};
    // The mixture and the high rates first, should the time be short.
    for (auto rate = std::rbegin(rates); rate != std::rend(rates); ++rate)
        for (auto kind = faultKinds().rbegin(); kind != faultKinds().rend(); ++kind)
            cells.push_back({*kind, *rate, {}, {}});
    return cells;
}

PlanOptions planOf(const RoundOptions& round, const FaultKind& kind) {
    PlanOptions plan;
    plan.seed = round.seed;
    plan.segments = round.segments;
    plan.messages = round.messages;
    plan.rate = round.rate;
    plan.kinds = kind.faults;
    return plan;
}

// What repeats the round.
std::string commandOf(const RoundOptions& round) {
    std::ostringstream text;
    text << "zent-soak round --link " << round.link << " --kind " << round.kind << " --rate " << round.rate
         << " --seed " << round.seed << " --segments " << round.segments << " --messages " << round.messages;
    return text.str();
}

const FaultKind& kindNamed(const std::string& name) {
    static const FaultKind none = noFaults();
    if (name == none.name) return none;
    for (const FaultKind& kind : faultKinds())
        if (name == kind.name) return kind;
    throw std::invalid_argument("no such kind of faults: " + name);
}

struct Progress {
    std::mutex mutex; // guards all
    unsigned rounds = 0;
    uint64_t messages = 0;
    std::vector<std::string> failures;
};

class LinkMatrix {
public:
    LinkMatrix(LinkKind kind, const MatrixOptions& matrixOptions, Progress& shared)
        : link(kind),
          options(matrixOptions),
          progress(shared),
          deadline(std::chrono::steady_clock::now() + options.time) {}

    void run() {
        for (uint64_t pass = 0; !isOver(); ++pass)
            for (size_t i = 0; i < cells.size() && !isOver(); ++i) runRound(i, pass);
    }

    const LinkKind link;
    unsigned repeats = 0;
    std::vector<Cell> cells = allCells();

private:
    bool isOver() const { return std::chrono::steady_clock::now() >= deadline; }

    void runRound(size_t index, uint64_t pass) {
        Cell& cell = cells[index];
        RoundOptions round{nameOf(link), cell.kind.name, cell.rate, 0};
        // One number for each round of each cell of each link; the odd factors only spread them.
        round.seed = options.seed + 1000003 * pass + 7919 * index + 104729 * static_cast<uint64_t>(link);
        if (options.time >= longEnough) {
            round.segments = 4;
            round.messages = 50;
        }
        const PatientVerdict result = runPatiently(planOf(round, cell.kind), link,
                                                   [this](const Timing& timing) { return makeHost(link, timing); });
        const Verdict& verdict = result.verdict;
        repeats += result.repeats;
        cell.figures.add(verdict.figures);
        ++cell.rounds;
        for (const auto& [limit, times] : verdict.exceptions) cell.exceptions[limit] += times;
        report(round, verdict);
    }
    void report(const RoundOptions& round, const Verdict& verdict) {
        const std::lock_guard lock(progress.mutex);
        ++progress.rounds;
        progress.messages += verdict.figures.messages + verdict.figures.inbound;
        for (const std::string& failure : verdict.failures) {
            progress.failures.push_back(commandOf(round) + ": " + failure);
            std::printf("WRONG  %s\n", progress.failures.back().c_str());
        }
    }

    const MatrixOptions options;
    Progress& progress;
    const std::chrono::steady_clock::time_point deadline;
};

double quantile(std::vector<double> values, double share) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<size_t>(share * static_cast<double>(values.size())))];
}

void writeCsv(const std::vector<std::unique_ptr<LinkMatrix>>& links, const std::string& path) {
    std::ofstream file(path);
    file
        << "link,kind,rate,rounds,messages,delivered,calls,falseCalls,falseThoughHad,trueNotHad,duplicates,wrongAtHost,"
           "inbound,arrived,wrongAtModule,duplicatesAtModule,packets,faults,reopened,recoveryMedianMs,recoveryMaxMs,"
           "messagesPerSecond,slowestOfBound";
    for (size_t i = 0; i < limitCount; ++i) file << ',' << nameOf(static_cast<Limit>(i));
    file << '\n';
    for (const auto& link : links) {
        for (const Cell& cell : link->cells) {
            if (cell.rounds == 0) continue;
            const Figures& f = cell.figures;
            const double seconds = std::max(static_cast<double>(f.seconds1000) / 1000, 0.001);
            file << nameOf(link->link) << ',' << cell.kind.name << ',' << cell.rate << ',' << cell.rounds << ','
                 << f.messages << ',' << f.delivered << ',' << f.calls << ',' << f.falseCalls << ',' << f.falseThoughHad
                 << ',' << f.trueNotHad << ',' << f.duplicates << ',' << f.wrongAtHost << ',' << f.inbound << ','
                 << f.arrived << ',' << f.wrongAtModule << ',' << f.duplicatesAtModule << ',' << f.packets << ','
                 << f.faults << ',' << f.reopened << ',' << quantile(f.recoveriesMs, 0.5) << ','
                 << quantile(f.recoveriesMs, 1) << ',' << static_cast<double>(f.delivered) / seconds << ','
                 << f.slowestOfBound;
            for (size_t i = 0; i < limitCount; ++i) {
                const auto found = cell.exceptions.find(static_cast<Limit>(i));
                file << ',' << (found == cell.exceptions.end() ? 0 : found->second);
            }
            file << '\n';
        }
    }
}

void printTable(const std::vector<std::unique_ptr<LinkMatrix>>& links) {
    std::printf("\n%-5s %-14s %6s %9s %10s %6s %9s %9s %6s %8s %9s\n", "link", "faults", "rate", "messages",
                "delivered", "false", "false,had", "true,not", "dupl.", "arrived", "recovery");
    for (const auto& link : links)
        for (const Cell& cell : link->cells) {
            const Figures& f = cell.figures;
            const bool shown = cell.rounds > 0 && (cell.rate == 0 || cell.rate == 0.01 || cell.rate == 0.1);
            if (!shown) continue;
            const auto percent = [](uint64_t part, uint64_t whole) {
                return whole == 0 ? 0 : 100 * static_cast<double>(part) / static_cast<double>(whole);
            };
            std::printf("%-5s %-14s %5.1f%% %9lu %9.2f%% %6lu %9lu %9lu %6lu %7.2f%% %6.1f ms\n", nameOf(link->link),
                        cell.kind.name, 100 * cell.rate, f.messages, percent(f.delivered, f.messages), f.falseCalls,
                        f.falseThoughHad, f.trueNotHad, f.duplicates, percent(f.arrived, f.inbound),
                        quantile(f.recoveriesMs, 1));
        }
}

} // namespace

bool runRound(const RoundOptions& options) {
    const FaultKind& kind = kindNamed(options.kind);
    for (const LinkKind link : linksHere()) {
        if (options.link != nameOf(link)) continue;
        const PatientVerdict result =
            runPatiently(planOf(options, kind), link, [link](const Timing& timing) { return makeHost(link, timing); });
        for (const std::string& failure : result.verdict.failures) std::printf("WRONG  %s\n", failure.c_str());
        for (const auto& [limit, times] : result.verdict.exceptions)
            std::printf("%s: %lu times\n", nameOf(limit), times);
        std::printf("%lu messages, repeated %u times: %s\n", result.verdict.figures.messages, result.repeats,
                    result.verdict.failures.empty() ? "every wrong outcome has a recorded cause" : "FAILED");
        return result.verdict.failures.empty();
    }
    throw std::invalid_argument("no such link here: " + options.link);
}

bool runMatrix(const MatrixOptions& options) {
    Progress progress;
    std::vector<std::unique_ptr<LinkMatrix>> links;
    std::vector<std::thread> threads;
    for (const LinkKind kind : linksHere()) links.push_back(std::make_unique<LinkMatrix>(kind, options, progress));
    const auto begin = std::chrono::steady_clock::now();
    for (const auto& link : links) threads.emplace_back([&link] { link->run(); });
    for (auto next = begin + progressEvery; next < begin + options.time; next += progressEvery) {
        std::this_thread::sleep_until(next);
        const std::lock_guard lock(progress.mutex);
        std::printf("truth  %4ld s  %u rounds, %lu messages, %zu wrong without a cause\n",
                    static_cast<long>(std::chrono::duration_cast<std::chrono::seconds>(next - begin).count()),
                    progress.rounds, progress.messages, progress.failures.size());
        std::fflush(stdout);
    }
    for (std::thread& thread : threads) thread.join();
    printTable(links);
    if (!options.csvPath.empty()) writeCsv(links, options.csvPath);
    for (const auto& link : links)
        std::printf("%s: %u rounds repeated with longer time-outs\n", nameOf(link->link), link->repeats);
    std::printf("\ntruth: %u rounds, %lu messages, seed %lu: %s\n", progress.rounds, progress.messages, options.seed,
                progress.failures.empty() ? "every wrong outcome has a recorded cause" : "FAILED");
    return progress.failures.empty();
}

} // namespace truth
