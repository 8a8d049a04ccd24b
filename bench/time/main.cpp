// Times of all cases by Google Benchmark, whose options apply; names are "group|subject|point".
#include <cstdio>
#include <exception>

#include <benchmark/benchmark.h>
#include <log4cplus/log4cplus.h>

#include "LinkTimes.h"
#include "RequestTimes.h"
#include "cases/Case.h"
#include "peers/Peers.h"

namespace {

void registerCases(const bench::Cases& cases) {
    for (const bench::Case& one : cases) {
        benchmark::RegisterBenchmark((one.group + "|" + one.subject + "|" + one.point).c_str(),
                                     [run = one.run](benchmark::State& state) {
                                         for ([[maybe_unused]] const auto turn : state) benchmark::DoNotOptimize(run());
                                     });
    }
}

} // namespace

int main(int argc, char** argv) try {
    const bench::Hosts hosts; // before anything starts a thread
    const bench::AnsweringHosts answering;
    const log4cplus::Initializer log;
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    registerCases(bench::ownCases());
    registerCases(bench::peerCases());
    bench::registerLinkTimes(hosts);
    bench::registerRequestTimes(answering);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::ClearRegisteredBenchmarks(); // with them the links go, before their far sides
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "bench_time: %s\n", failure.what());
    return 1;
}
