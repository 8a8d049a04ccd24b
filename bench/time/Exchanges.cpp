#include "Exchanges.h"

#include <chrono>
#include <filesystem>
#include <fstream>
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

} // namespace

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
