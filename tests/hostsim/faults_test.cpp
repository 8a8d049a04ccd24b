// Faults are decided by a seed, counted, and bounded.
#include <algorithm>
#include <iterator>
#include <set>

#include <gtest/gtest.h>

#include <hostsim/FaultInjector.h>

#include "support/Bytes.h"

using hostsim::AnswerFault;
using hostsim::FaultInjector;
using hostsim::FaultOptions;
using hostsim::HostCounts;

namespace {

/// An injector with its counts.
struct Injector {
    HostCounts counts;
    FaultInjector faults;

    explicit Injector(const FaultOptions& options) : faults(options, counts) {}
};

FaultOptions noisy() {
    FaultOptions options;
    options.toModule = {0.1, 0.1, 0.1, 0.1};
    return options;
}

} // namespace

TEST(FaultInjector, DoesNothingUnlessAsked) {
    Injector quiet{FaultOptions{}};
    for (unsigned i = 1; i < 100; ++i) {
        EXPECT_EQ(quiet.faults.answerFault(i, 1), AnswerFault::None);
        EXPECT_EQ(quiet.faults.answerDelay(i), hostsim::Time::zero());
        EXPECT_FALSE(quiet.faults.repeats(i));
        EXPECT_TRUE(quiet.faults.garbage(i).empty());
    }
    EXPECT_EQ(quiet.faults.burst(), 0u);
    EXPECT_FALSE(quiet.faults.splitsWrites());
    EXPECT_EQ(hex(quiet.faults.toModule(bytes("01 02 03"))), "01 02 03");
    EXPECT_EQ(quiet.counts.faults(), 0u);
}

TEST(FaultInjector, EveryNthMeansMultiplesOfN) {
    FaultOptions options;
    options.silentEvery = 3;
    Injector injector(options);
    std::string pattern;
    for (unsigned i = 1; i <= 7; ++i) pattern += injector.faults.answerFault(i, 1) == AnswerFault::Silence ? 's' : '.';
    EXPECT_EQ(pattern, "..s..s.");
}

TEST(FaultInjector, TheFirstFaultThatAppliesDecides) {
    FaultOptions options;
    options.silentEvery = 6;
    options.ackNackEvery = 3;
    options.neitherEvery = 2;
    options.nackFirst = 1;
    Injector injector(options);
    EXPECT_EQ(injector.faults.answerFault(6, 1), AnswerFault::Silence);
    EXPECT_EQ(injector.faults.answerFault(3, 1), AnswerFault::AckNack);
    EXPECT_EQ(injector.faults.answerFault(2, 1), AnswerFault::Neither);
    EXPECT_EQ(injector.faults.answerFault(1, 1), AnswerFault::Nack);
    EXPECT_EQ(injector.faults.answerFault(1, 2), AnswerFault::None);
}

TEST(FaultInjector, TheSameSeedGivesTheSameNoise) {
    const ByteArray data = patternBytes(1000);
    Injector one(noisy());
    Injector same(noisy());
    FaultOptions otherSeed = noisy();
    otherSeed.seed = 2;
    Injector other(otherSeed);
    const ByteArray disturbed = one.faults.toModule(data);
    EXPECT_EQ(disturbed, same.faults.toModule(data));
    EXPECT_NE(disturbed, other.faults.toModule(data));
    EXPECT_NE(disturbed, data);
}

TEST(FaultInjector, NoiseKeepsToItsRatesAndCountsWhatItDoes) {
    Injector injector(noisy());
    const size_t size = 100000;
    const size_t length = injector.faults.toModule(ByteArray(size, 0)).size();
    const HostCounts& counts = injector.counts;
    // 100,000 trials at 0.1: 10,000 with a standard deviation of 95; 600 is more than six of them.
    EXPECT_NEAR(static_cast<double>(counts.faultDroppedBytes), 10000, 600);
    EXPECT_NEAR(static_cast<double>(counts.faultInsertedBytes), 10000, 600);
    EXPECT_NEAR(static_cast<double>(counts.faultCorruptedBytes), 9000, 600); // of those not dropped
    EXPECT_NEAR(static_cast<double>(counts.faultRepeatedBytes), 9000, 600);
    EXPECT_EQ(length, size - counts.faultDroppedBytes + counts.faultInsertedBytes + counts.faultRepeatedBytes);
}

TEST(FaultInjector, ACorruptedByteIsNeverTheSame) {
    FaultOptions options;
    options.toHost.corruptRate = 1;
    Injector injector(options);
    for (const unsigned char byte : injector.faults.toHost(ByteArray(10000, 0x5A))) ASSERT_NE(byte, 0x5A);
}

TEST(FaultInjector, NoiseIsOnlyOnTheDirectionAskedFor) {
    Injector injector(noisy());
    const ByteArray data = patternBytes(1000);
    EXPECT_EQ(injector.faults.toHost(data), data);
}

TEST(FaultInjector, StopsAtTheLimitWhateverTheFault) {
    FaultOptions options = noisy();
    options.nackFirst = 9;
    options.repeatEvery = 1;
    options.limit = 5;
    Injector injector(options);
    EXPECT_EQ(injector.faults.answerFault(1, 1), AnswerFault::Nack);
    EXPECT_TRUE(injector.faults.repeats(1));
    injector.faults.toModule(patternBytes(1000));
    EXPECT_EQ(injector.counts.faults(), 5u);
    EXPECT_EQ(injector.faults.answerFault(2, 1), AnswerFault::None);
    EXPECT_FALSE(injector.faults.repeats(2));
    EXPECT_EQ(injector.faults.toModule(patternBytes(1000)), patternBytes(1000));
}

namespace {

/// The garbage before packets 1 to `count`, `size` bytes each.
std::vector<ByteArray> garbageOf(unsigned size, unsigned count, uint64_t seed) {
    FaultOptions options;
    options.garbageEvery = 1;
    options.garbageBytes = size;
    options.seed = seed;
    Injector injector(options);
    std::vector<ByteArray> all;
    for (unsigned i = 1; i <= count; ++i) all.push_back(injector.faults.garbage(i));
    return all;
}

bool holdsStartMark(const ByteArray& bytes) {
    constexpr unsigned char mark[] = {0xFF, 0xFE};
    return std::search(bytes.begin(), bytes.end(), std::begin(mark), std::end(mark)) != bytes.end();
}

} // namespace

TEST(FaultInjector, GarbageHoldsEveryByte) {
    std::set<unsigned char> seen;
    // 100,000 bytes: that one value is missing happens once in exp(391) times.
    for (const ByteArray& garbage : garbageOf(100000, 1, 1)) seen.insert(garbage.begin(), garbage.end());
    EXPECT_EQ(seen.size(), 256u);
}

TEST(FaultInjector, GarbageNeverHoldsAStartMark) {
    // 65,536 pairs make one start mark on average: 200,000 bytes without one happen once in 20 times, for each seed.
    for (uint64_t seed = 1; seed <= 20; ++seed)
        for (const ByteArray& garbage : garbageOf(200000, 1, seed)) EXPECT_FALSE(holdsStartMark(garbage)) << seed;
}

TEST(FaultInjector, EveryFourthGarbageEndsWithHalfAStartMark) {
    std::string pattern;
    for (const ByteArray& garbage : garbageOf(3, 8, 1)) pattern += garbage.back() == 0xFF ? 'h' : '.';
    EXPECT_EQ(pattern, "...h...h");
}

TEST(FaultInjector, GarbageIsWhatTheSeedGives) {
    // mt19937_64 of seed 1, the low byte of each number, by another program.
    EXPECT_EQ(hex(garbageOf(8, 1, 1).front()), "68 4E 9A 8E 38 49 B4 09");
}

TEST(HostCounts, TextShowsTrafficAlwaysAndTheRestWhenThereIsSome) {
    HostCounts counts;
    counts.bytesSent = 12;
    counts.faultNacks = 3;
    EXPECT_EQ(countsAsText(counts), "         0  bytes received\n"
                                    "        12  bytes sent\n"
                                    "         0  packets received\n"
                                    "         0  packets sent\n"
                                    "         0  messages received\n"
                                    "         0  messages sent and acknowledged\n"
                                    "         3  on purpose: packets refused (nack)\n");
}

TEST(HostCounts, JsonHoldsEveryCount) {
    HostCounts counts;
    counts.bytesReceived = 7;
    counts.faultSilences = 2;
    counts.faultRepeatedBytes = 40;
    const std::string json = countsAsJson(counts);
    EXPECT_EQ(json.front(), '{');
    EXPECT_EQ(json.find('\n'), std::string::npos);
    for (const char* part : {"\"bytesReceived\":7,", "\"faultSilences\":2,", "\"strayResponses\":0,", "\"faults\":42}"})
        EXPECT_NE(json.find(part), std::string::npos) << part;
    // A member for each count and one for their sum.
    const auto members = static_cast<size_t>(std::count(json.begin(), json.end(), ':'));
    EXPECT_EQ(members, sizeof(HostCounts) / sizeof(uint64_t) + 1);
}
