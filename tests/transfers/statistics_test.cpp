// What a client counts.
#include <array>

#include <gtest/gtest.h>

#include <hostlinkclient/Client.h>

#include "hostlinkclient/session/Histogram.h"
#include "hostlinkclient/session/PlayedHost.h"
#include "support/Bytes.h"
#include "support/MustEnd.h"

using namespace hostlink;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(ResponseTimes, HaveBucketsThatDouble) {
    EXPECT_EQ(ResponseTimes::below(0), microseconds(100));
    EXPECT_EQ(ResponseTimes::below(1), microseconds(200));
    EXPECT_EQ(ResponseTimes::below(10), microseconds(102400));
}

TEST(Histogram, PutsEachIntoItsBucket) {
    Histogram histogram;
    histogram.note(microseconds(99));
    histogram.note(microseconds(100));
    histogram.note(microseconds(199));
    histogram.note(microseconds(200));
    histogram.note(std::chrono::hours(1)); // longer than the longest bucket
    const ResponseTimes times = histogram.read();
    EXPECT_EQ(times.buckets[0], 1u);
    EXPECT_EQ(times.buckets[1], 2u);
    EXPECT_EQ(times.buckets[2], 1u);
    EXPECT_EQ(times.buckets[ResponseTimes::size - 1], 1u);
    EXPECT_EQ(times.count(), 5u);
    EXPECT_EQ(times.longest, std::chrono::hours(1));
}

TEST(ResponseTimes, PercentilesAreEndsOfBuckets) {
    ResponseTimes times;
    EXPECT_EQ(times.percentile(50), microseconds(0));
    times.buckets[0] = 98;
    times.buckets[3] = 1;
    times.buckets[ResponseTimes::size - 1] = 1;
    times.longest = seconds(77);
    EXPECT_EQ(times.percentile(50), microseconds(100));
    EXPECT_EQ(times.percentile(99), microseconds(800));
    EXPECT_EQ(times.percentile(100), seconds(77));
}

namespace {

// Waits until a client has counted all that it has said to the host, and an answer to each of that. Behind a request's
// answer: what the client asks by itself, more than once on a busy machine, goes its way before.
Statistics countsOf(const Client& client, const PlayedHost& host) {
    mustBecomeTrue(
        [&] {
            const Statistics counts = client.statistics();
            const size_t said = host.messages().size();
            return counts.messagesOut == said && counts.messagesIn == said;
        },
        "everything is counted");
    return client.statistics();
}

} // namespace

TEST(Statistics, CountWhatRequestsCost) {
    PlayedHost host;
    Options options;
    options.deadline = seconds(20);
    options.answerTime = seconds(10);
    Client client(host.wire(), options);
    ASSERT_TRUE(client.waitUntilUp(seconds(20)));
    ASSERT_TRUE(client.get(STA_PlayerMute));
    const Statistics before = countsOf(client, host);
    ASSERT_TRUE(client.get(STA_PlayerVolume));
    const Statistics after = countsOf(client, host);
    EXPECT_EQ(after.messagesOut - before.messagesOut, 1u);
    EXPECT_EQ(after.messagesIn - before.messagesIn, 1u);
    EXPECT_EQ(after.packetsOut - before.packetsOut, 1u);
    EXPECT_EQ(after.bytesOut - before.bytesOut, 15u); // header, three bytes of a message, one state, trailer
    EXPECT_EQ(after.bytesIn - before.bytesIn, 17u);   // a state with an encoding and a number
    EXPECT_EQ(after.responseTimes.count() - before.responseTimes.count(), 1u);
    EXPECT_GT(after.responseTimes.longest.count(), 0);
    EXPECT_EQ(after.links, 1u);
    EXPECT_EQ(after.reconnects, 0u);
}

TEST(Statistics, CountWhatGoesWrong) {
    PlayedHost host;
    Options options;
    options.deadline = seconds(20);
    options.answerTime = seconds(2); // twice for an answer on a busy machine, and twice for none
    options.lateFor = milliseconds(10);
    options.sendings = 2;
    Client client(host.wire(), options);
    ASSERT_TRUE(client.waitUntilUp(seconds(20)));
    ASSERT_TRUE(client.get(STA_PlayerMute));
    const Statistics before = client.statistics();
    host.does([](const ByteArray&) { return PlayedHost::Reaction{Accepted, {bytes("02 80 01 77 77 C0")}}; });
    EXPECT_EQ(client.get(STA_PlayerVolume).outcome(), Outcome::Unanswered);
    const Statistics counts = client.statistics();
    EXPECT_EQ(counts.timeouts - before.timeouts, 1u);
    EXPECT_EQ(counts.retries - before.retries, 1u);
    // About a state that nobody asked for: of all answers two had their question, the first to what the client asks by
    // itself and the first to the get before.
    const size_t given = host.messages().size();
    EXPECT_GE(given, 4U);
    mustBecomeTrue([&] { return client.statistics().staleAnswers == given - 2; }, "stale answers");
}

TEST(Statistics, AreTextAndJson) {
    Statistics counts;
    counts.packetsOut = 7;
    counts.responseTimes.buckets[0] = 3;
    counts.responseTimes.longest = microseconds(42);
    EXPECT_EQ(counts.text().substr(0, 27), "           7  packets sent\n");
    EXPECT_NE(counts.text().find("          42  us the longest answer\n"), std::string::npos);
    const std::string json = counts.json();
    EXPECT_EQ(json.substr(0, 30), "{\"packetsOut\":7,\"packetsIn\":0,");
    EXPECT_NE(json.find("\"longestResponse\":42,\"responseTimes\":[{\"below\":100,\"count\":3},{\"below\":200,"),
              std::string::npos);
    EXPECT_EQ(json.substr(json.size() - 27), ",{\"below\":null,\"count\":0}]}");
}
