#include "hostlinkclient/Statistics.h"

#include <numeric>
#include <vector>

#include "hostlinkclient/Client.h"
#include "hostlinkclient/session/Core.h"
#include "hostlinkclient/session/Histogram.h"

namespace hostlink {

namespace {

struct Row {
    const char* name; // in JSON
    const char* text; // for people
    uint64_t number;
};

std::vector<Row> rowsOf(const Statistics& from) {
    return {
        {"packetsOut", "packets sent", from.packetsOut},
        {"packetsIn", "packets received", from.packetsIn},
        {"bytesOut", "bytes sent", from.bytesOut},
        {"bytesIn", "bytes received", from.bytesIn},
        {"messagesOut", "messages accepted by the host's link", from.messagesOut},
        {"messagesIn", "messages received", from.messagesIn},
        {"refusedPackets", "packets refused by the host's link", from.refusedPackets},
        {"unansweredPackets", "packets without a usable answer of the host's link", from.unansweredPackets},
        {"repeatedPackets", "packets of the host that came twice", from.repeatedPackets},
        {"failedMessages", "messages not accepted by the host's link", from.failedMessages},
        {"retries", "requests sent again", from.retries},
        {"timeouts", "requests without an answer", from.timeouts},
        {"staleAnswers", "answers that were dropped as late or foreign", from.staleAnswers},
        {"garbageBytes", "bytes outside packets", from.garbageBytes},
        {"badPackets", "damaged packets of the host", from.badPackets},
        {"otherPackets", "packets of the host of a kind that it does not send", from.otherPackets},
        {"edges", "edges of the interrupt line", from.edges},
        {"exchanges", "IRQ frames sent", from.exchanges},
        {"rereads", "reads made again because the host was not ready", from.rereads},
        {"links", "links opened", from.links},
        {"reconnects", "links opened anew", from.reconnects},
        {"losses", "links lost", from.losses},
        {"resynchronisations", "links given up because the host accepted nothing", from.resynchronisations},
    };
}

std::string padded(const std::string& number) {
    constexpr size_t width = 12;
    return number.size() < width ? std::string(width - number.size(), ' ') + number : number;
}

uint64_t microseconds(std::chrono::microseconds time) {
    return static_cast<uint64_t>(time.count());
}

uint64_t read(const Counters::Count& count) {
    return count.load(std::memory_order_relaxed);
}

} // namespace

uint64_t ResponseTimes::count() const {
    return std::accumulate(buckets.begin(), buckets.end(), uint64_t{0});
}

std::chrono::microseconds ResponseTimes::percentile(unsigned percent) const {
    const uint64_t all = count();
    uint64_t seen = 0;
    for (size_t i = 0; all > 0 && i + 1 < size; ++i) {
        seen += buckets[i];
        if (seen * 100 >= all * percent) return below(i);
    }
    return longest;
}

std::string Statistics::text() const {
    std::string text;
    for (const Row& row : rowsOf(*this)) text += padded(std::to_string(row.number)) + "  " + row.text + "\n";
    const auto add = [&text](std::chrono::microseconds time, const char* what) {
        text += padded(std::to_string(time.count())) + "  " + what + "\n";
    };
    add(responseTimes.longest, "us the longest answer");
    add(responseTimes.percentile(50), "us within which half the answers came");
    add(responseTimes.percentile(99), "us within which 99 of 100 answers came");
    return text;
}

std::string Statistics::json() const {
    std::string json = "{";
    for (const Row& row : rowsOf(*this))
        json += std::string("\"") + row.name + "\":" + std::to_string(row.number) + ",";
    json += "\"longestResponse\":" + std::to_string(microseconds(responseTimes.longest)) + ",\"responseTimes\":[";
    for (size_t i = 0; i < ResponseTimes::size; ++i) {
        const bool last = i + 1 == ResponseTimes::size;
        const std::string below = last ? "null" : std::to_string(microseconds(ResponseTimes::below(i)));
        json += "{\"below\":" + below + ",\"count\":" + std::to_string(responseTimes.buckets[i]) + (last ? "}" : "},");
    }
    return json + "]}";
}

void Histogram::note(std::chrono::steady_clock::duration took) {
    const auto time = std::chrono::duration_cast<std::chrono::microseconds>(took);
    size_t bucket = 0;
    while (bucket + 1 < ResponseTimes::size && time >= ResponseTimes::below(bucket)) ++bucket;
    buckets[bucket].fetch_add(1, std::memory_order_relaxed);
    int64_t before = longest.load(std::memory_order_relaxed);
    while (time.count() > before && !longest.compare_exchange_weak(before, time.count(), std::memory_order_relaxed)) {
    }
}

ResponseTimes Histogram::read() const {
    ResponseTimes times;
    for (size_t i = 0; i < ResponseTimes::size; ++i) times.buckets[i] = buckets[i].load(std::memory_order_relaxed);
    times.longest = std::chrono::microseconds(longest.load(std::memory_order_relaxed));
    return times;
}

Statistics Client::statistics() const {
    const Counters& counted = inside->counters();
    Statistics now;
    now.packetsOut = read(counted.packetsOut);
    now.packetsIn = read(counted.packetsIn);
    now.bytesOut = read(counted.bytesOut);
    now.bytesIn = read(counted.bytesIn);
    now.messagesOut = read(counted.messagesOut);
    now.messagesIn = read(counted.messagesIn);
    now.refusedPackets = read(counted.refusedPackets);
    now.unansweredPackets = read(counted.unansweredPackets);
    now.repeatedPackets = read(counted.repeatedPackets);
    now.failedMessages = read(counted.unansweredWrites);
    now.retries = read(counted.retries);
    now.timeouts = read(counted.timeouts);
    now.staleAnswers = read(counted.staleAnswers);
    now.garbageBytes = counted.ofLinks.of(LinkCounter::GarbageBytes);
    now.badPackets = counted.ofLinks.of(LinkCounter::BadPackets);
    now.otherPackets = counted.ofLinks.of(LinkCounter::OtherPackets);
    now.edges = counted.ofLinks.of(LinkCounter::Edges);
    now.exchanges = counted.ofLinks.of(LinkCounter::Exchanges);
    now.rereads = counted.ofLinks.of(LinkCounter::Rereads);
    now.links = read(counted.links);
    now.reconnects = now.links > 0 ? now.links - 1 : 0;
    now.losses = read(counted.losses);
    now.resynchronisations = read(counted.resynchronisations);
    now.responseTimes = counted.responseTimes.read();
    return now;
}

} // namespace hostlink
