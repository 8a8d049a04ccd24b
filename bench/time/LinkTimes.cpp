#include "LinkTimes.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include <unistd.h>

#include <benchmark/benchmark.h>

#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPhysicalLayer.h>

#include "floors/RawExchange.h"

namespace bench {

namespace {

// A packet of 64 bytes.
ByteArray fullPacket() {
    return HostLinkMsgFrame(ByteArray(54, 0x5A), 5, 64).serializePacket(0);
}

std::shared_ptr<HostLinkPhysicalLayer> startedLink(const HostProcess& host) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, host.slavePath());
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, 5000);
    std::shared_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("uart", properties));
    if (!link->init()) throw std::runtime_error("the UART link does not start");
    return link;
}

// Short and often: what else runs on the machine hits some repetitions and leaves the others alone.
constexpr int shortRun = 500; // exchanges
constexpr int manyRuns = 45;
constexpr int pacedRun = 4; // of 6 ms each
constexpr int pacedRuns = 15;

// Own time of all threads, and the clock's.
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

void registerRaw(const std::string& name, const HostProcess& host, RawExchange::Wake wake) {
    const auto raw = std::make_shared<RawExchange>(host.slavePath(), wake);
    registerExchange(name, shortRun, manyRuns, [raw, packet = fullPacket()] { return raw->exchange(packet); });
}

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

void registerIdle(const HostProcess& host) {
    benchmark::RegisterBenchmark("idle|UART link|half a second", [link = startedLink(host)](benchmark::State& state) {
        link->writeData(fullPacket());
        for ([[maybe_unused]] const auto turn : state) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // the reader is back in its wait
            const long before = switchesOfOthers();
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            state.counters["wakeUps"] = static_cast<double>(switchesOfOthers() - before);
        }
    })->Iterations(1);
}

} // namespace

void registerLinkTimes(const Hosts& hosts) {
    const auto addLink = [](const std::string& name, const HostProcess& host, int exchanges, int repetitions) {
        const auto link = startedLink(host);
        registerExchange(name, exchanges, repetitions,
                         [link, packet = fullPacket()] { return link->writeData(packet) == Accepted; });
    };
    addLink("exchange over a terminal|UART link|64 bytes", hosts.link, shortRun, manyRuns);
    registerRaw("exchange over a terminal|raw, waked under the lock|64 bytes", hosts.rawUnderTheLock,
                RawExchange::Wake::UnderTheLock);
    registerRaw("exchange over a terminal|raw, waked unlocked|64 bytes", hosts.rawUnlocked,
                RawExchange::Wake::Unlocked);
    addLink("paced line|UART link|115200 baud", hosts.paced, pacedRun, pacedRuns);
    registerIdle(hosts.idle);
}

} // namespace bench
