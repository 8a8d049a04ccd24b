// Threads: one for each link writes messages during the traffic; the caller's samples the process once a second. The
// simulated host of the serial link has a thread here, too; those of the buses live in the rig.
#include "Watch.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include <hostlink/HostLinkTransportLayer.h>

#include "LinkSet.h"
#include "Plan.h"
#include "support/ProcessCounts.h"
#include "support/ProcessWatch.h"

namespace truth {

namespace {

using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr double memoryAllowanceKiB = 512; // of growth over the second half
constexpr seconds settling{1};
constexpr seconds patience{30}; // far more than a busy machine takes for what is waited for
constexpr std::chrono::milliseconds betweenLooks{1};
constexpr std::chrono::milliseconds goodTime{500}; // before the end of a period
constexpr std::chrono::milliseconds messageEvery{10};
constexpr seconds progressEvery{15};

struct Sample {
    double at; // seconds
    long residentKiB;
    long descriptors;
    long threads;
};

template <typename Condition> void await(Condition condition) {
    const auto deadline = Clock::now() + patience;
    while (!condition() && Clock::now() < deadline) std::this_thread::sleep_for(betweenLooks);
}

long residentKiB() {
    std::ifstream file("/proc/self/statm"); // pages: size, resident, ...
    long size = 0;
    long resident = 0;
    file >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

std::set<pid_t> threadIds() {
    std::set<pid_t> ids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        ids.insert(static_cast<pid_t>(std::stoi(entry.path().filename().string())));
    return ids;
}

/// One link, its application and its host.
class Subject {
public:
    explicit Subject(LinkKind linkKind) : kind(linkKind), host(makeHost(linkKind, calm())) {
        host->keepJournal(false);
        const std::set<pid_t> before = threadIds();
        link.reset(HostLinkPhysicalLayer::create(nameOf(kind), host->properties()));
        transport = std::make_unique<HostLinkTransportLayer>(link.get());
        transport->addMessageReceivedObserver([this](const ByteArray&) { ++arrived; });
        transport->initTransportLayer();
        for (const pid_t id : threadIds())
            if (before.count(id) == 0) threads.push_back(id);
    }
    ~Subject() {
        transport->shutdown();
        transport.reset();
    }
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;

    long wakeUps() const {
        long sum = 0;
        for (const pid_t thread : threads) sum += voluntarySwitches(thread);
        return sum;
    }
    /// Messages in both directions at a steady pace until the moment comes.
    void converse(Clock::time_point end) {
        const ByteArray tail(100, 0x5A); // two packets
        for (auto next = Clock::now(); next < end; next += messageEvery) {
            std::this_thread::sleep_until(next);
            host->send(numberedMessage(queued++, 'i', tail));
            write(tail);
        }
        host->waitUntilQuiet();
        await([this] { return arrived >= queued; }); // the host is answered before the application is told
    }
    void awaitSleep() const {
        for (const pid_t thread : threads) await([thread] { return sleepsInPoll(thread) || sleepsOnFutex(thread); });
    }
    bool isComplete() { return refused == 0 && arrived == queued && host->messagesReceived() == written; }
    void printTraffic() {
        std::printf("%-5s %10u written, %u of them not accepted, %lu at the host; %u sent by the host, %lu arrived\n",
                    nameOf(kind), written, refused, host->messagesReceived(), queued, arrived.load());
    }

    const LinkKind kind;
    std::vector<pid_t> threads;

private:
    void write(const ByteArray& tail) {
        const auto begin = Clock::now();
        if (transport->writeMessage(numberedMessage(written++, 'o', tail))) return;
        ++refused;
        const std::chrono::duration<double, std::milli> took = Clock::now() - begin;
        std::printf("%-5s message %u was not accepted, after %.1f ms\n", nameOf(kind), written - 1, took.count());
    }

    // Nothing here is late on purpose.
    static Timing calm() { return Timing(200); }

    const std::unique_ptr<HostSide> host;
    std::unique_ptr<HostLinkPhysicalLayer> link;
    std::unique_ptr<HostLinkTransportLayer> transport;
    uint32_t written = 0;
    uint32_t queued = 0;
    uint32_t refused = 0;
    std::atomic<uint64_t> arrived{0};
};

using Subjects = std::vector<std::unique_ptr<Subject>>;

// By least squares over the second half: what the value grows by in that time.
double growth(const std::vector<Sample>& samples, long Sample::*value) {
    const std::vector<Sample> half(samples.begin() + static_cast<long>(samples.size() / 2), samples.end());
    double meanAt = 0;
    double mean = 0;
    for (const Sample& sample : half) {
        meanAt += sample.at / static_cast<double>(half.size());
        mean += static_cast<double>(sample.*value) / static_cast<double>(half.size());
    }
    double above = 0;
    double below = 0;
    for (const Sample& sample : half) {
        above += (sample.at - meanAt) * (static_cast<double>(sample.*value) - mean);
        below += (sample.at - meanAt) * (sample.at - meanAt);
    }
    return below == 0 ? 0 : above / below * (half.back().at - half.front().at);
}

bool isConstant(const std::vector<Sample>& samples, long Sample::*value) {
    const auto from = samples.begin() + static_cast<long>(samples.size() / 2);
    return std::all_of(from, samples.end(), [&](const Sample& sample) { return sample.*value == (*from).*value; });
}

std::vector<Sample> watch(const char* phase, seconds time) {
    std::vector<Sample> samples;
    samples.reserve(static_cast<size_t>(time.count()) + 2);
    const auto begin = Clock::now();
    for (seconds at = settling; at < time; ++at) {
        std::this_thread::sleep_until(begin + at);
        if (Clock::now() > begin + time - goodTime) break; // held up: what runs beside it may end or have ended
        samples.push_back({static_cast<double>(at.count()), residentKiB(), descriptorCount(), threadCount()});
        if (at.count() % progressEvery.count() != 0) continue;
        const Sample& now = samples.back();
        std::printf("%-8s %5ld s  %ld KiB, %ld descriptors, %ld threads\n", phase, static_cast<long>(at.count()),
                    now.residentKiB, now.descriptors, now.threads);
        std::fflush(stdout);
    }
    std::this_thread::sleep_until(begin + time);
    return samples;
}

bool judgeSamples(const char* phase, const std::vector<Sample>& samples) {
    const double grown = growth(samples, &Sample::residentKiB);
    const bool memory = grown <= memoryAllowanceKiB;
    const bool descriptors = isConstant(samples, &Sample::descriptors);
    const bool threads = isConstant(samples, &Sample::threads);
    std::printf(
        "%-8s %6zu samples  memory %ld KiB at the end, %+.0f KiB over the second half: %s;  %ld descriptors: %s;  "
        "%ld threads: %s\n",
        phase, samples.size(), samples.back().residentKiB, grown, memory ? "flat" : "GROWS", samples.back().descriptors,
        descriptors ? "flat" : "CHANGES", samples.back().threads, threads ? "flat" : "CHANGES");
    return memory && descriptors && threads;
}

bool watchIdle(const Subjects& subjects, seconds time) {
    std::vector<long> before;
    std::this_thread::sleep_for(settling); // the links' threads go to sleep
    for (const auto& subject : subjects) subject->awaitSleep();
    for (const auto& subject : subjects) before.push_back(subject->wakeUps());
    bool good = judgeSamples("idle", watch("idle", time));
    for (size_t i = 0; i < subjects.size(); ++i) {
        const long wakeUps = subjects[i]->wakeUps() - before[i];
        std::printf("%-5s %zu threads, %ld wake-ups while idle\n", nameOf(subjects[i]->kind),
                    subjects[i]->threads.size(), wakeUps);
        good = good && wakeUps == 0;
    }
    return good;
}

bool watchTraffic(const Subjects& subjects, seconds time) {
    const auto end = Clock::now() + time;
    std::vector<std::thread> writers;
    for (const auto& subject : subjects) writers.emplace_back([&subject, end] { subject->converse(end); });
    // The writers end with the time; the last sample is before that.
    const std::vector<Sample> samples = watch("traffic", time);
    for (std::thread& writer : writers) writer.join();
    bool good = judgeSamples("traffic", samples);
    for (const auto& subject : subjects) {
        subject->printTraffic();
        good = good && subject->isComplete();
    }
    return good;
}

} // namespace

bool runWatch(const WatchOptions& options) {
    Subjects subjects;
    for (const LinkKind kind : linksHere()) subjects.push_back(std::make_unique<Subject>(kind));
    const bool idle = watchIdle(subjects, options.idle);
    const bool traffic = watchTraffic(subjects, options.traffic);
    std::printf("\nsoak: %s\n", idle && traffic ? "nothing grows, nobody wakes up, nothing is lost" : "FAILED");
    return idle && traffic;
}

} // namespace truth
