#include "Exchanges.h"

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include <unistd.h>

#include <benchmark/benchmark.h>

namespace bench {

namespace {

// How often threads of this process other than the calling one have been put to sleep or taken off a processor.
long switchesOfOthers() {
    long sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (task.path() == std::filesystem::path("/proc/self/task") / std::to_string(gettid())) continue;
        std::ifstream status(task.path() / "status");
        for (std::string word; status >> word;) {
            long count = 0;
            if (word == "voluntary_ctxt_switches:" && status >> count) sum += count;
        }
    }
    return sum;
}

double ownTime() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// One run of one subject into the counters; false when an exchange failed.
bool measure(const Subject& subject, benchmark::UserCounters& counters) {
    const auto began = std::chrono::steady_clock::now();
    const double ownBefore = ownTime();
    for (int turn = 0; turn < shortRun; ++turn) {
        if (!subject.exchange()) return false;
    }
    const double own = ownTime() - ownBefore;
    const std::chrono::duration<double, std::nano> real = std::chrono::steady_clock::now() - began;
    counters[subject.name + "|cpu"] = own / shortRun;
    counters[subject.name + "|real"] = real.count() / shortRun;
    return true;
}

} // namespace

void registerSideBySide(const std::string& name, const std::vector<Subject>& subjects) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [subjects, first = std::make_shared<size_t>(0)](benchmark::State& state) {
                                     for ([[maybe_unused]] const auto turn : state) {
                                         // Each comes first as often as the others.
                                         const size_t shift = (*first)++;
                                         for (size_t i = 0; i < subjects.size(); ++i) {
                                             const Subject& subject = subjects[(shift + i) % subjects.size()];
                                             if (subject.before) subject.before();
                                             if (!measure(subject, state.counters)) state.SkipWithError("not accepted");
                                             if (subject.after) subject.after();
                                         }
                                     }
                                 })
        ->Iterations(1)
        ->Repetitions(manyRuns);
}

void registerExchange(const std::string& name, int exchanges, int repetitions, const std::function<bool()>& exchange) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [exchange](benchmark::State& state) {
                                     for ([[maybe_unused]] const auto turn : state) {
                                         if (!exchange()) state.SkipWithError("not accepted");
                                     }
                                 })
        ->Iterations(exchanges)
        ->Repetitions(repetitions)
        ->MeasureProcessCPUTime()
        ->UseRealTime();
}

void registerIdle(const std::string& name, const std::function<void()>& before) {
    benchmark::RegisterBenchmark(name.c_str(), [before](benchmark::State& state) {
        before();
        for ([[maybe_unused]] const auto turn : state) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // all are back in their waits
            const long count = switchesOfOthers();
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            state.counters["wakeUps"] = static_cast<double>(switchesOfOthers() - count);
        }
    })->Iterations(1);
}

} // namespace bench
