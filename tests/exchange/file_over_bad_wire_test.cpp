// Both ends of a transfer over a wire that loses, repeats and damages: whatever is called complete is complete.
#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include <exchange/ChunkReceiver.h>
#include <exchange/ChunkSender.h>

#include "support/Bytes.h"

using namespace hostlink::exchange;
using std::chrono::milliseconds;

namespace {

struct Source : ByteSource {
    ByteArray content;
    size_t at = 0;
    std::optional<size_t> read(uint8_t* to, size_t room) override {
        const size_t count = std::min(room, content.size() - at);
        std::copy_n(content.begin() + static_cast<long>(at), count, to);
        at += count;
        return count;
    }
    bool rewind() override {
        at = 0;
        return true;
    }
};

struct Sink : ByteSink {
    ByteArray content;
    std::vector<ByteArray> complete;
    bool begin(const std::string&, std::optional<uint32_t>) override {
        content.clear();
        return true;
    }
    bool write(const uint8_t* data, size_t size) override {
        content.insert(content.end(), data, data + size);
        return true;
    }
    void end(const ReceivingReport& report) override {
        if (report.end == ReceivingEnd::Complete) complete.push_back(content);
    }
};

class BadWire {
public:
    explicit BadWire(uint64_t seed) : random(seed) {}

    // The message as it arrives: not at all, damaged, or well.
    std::optional<ByteArray> carry(ByteArray message) {
        if (chance(0.1)) return std::nullopt;
        if (chance(0.1)) message[random() % message.size()] ^= static_cast<uint8_t>(1 + random() % 255);
        return message;
    }
    bool chance(double probability) { return std::uniform_real_distribution<>(0, 1)(random) < probability; }
    std::mt19937_64 random;
};

} // namespace

TEST(FileOverABadWire, IsCompleteWhereItSaysSo) {
    constexpr uint64_t seed = 1;
    unsigned completed = 0;
    for (uint64_t run = 0; run < 200; ++run) {
        BadWire wire(seed + run);
        Source source;
        source.content = patternBytes(static_cast<size_t>(wire.random() % 300));
        Sink sink;
        Time now{0};
        ChunkReceiver receiver(sink);
        SendingOptions options;
        options.name = "f";
        options.size = static_cast<uint32_t>(source.content.size());
        options.chunk = 16;
        options.restarts = 20;
        ChunkSender sender(source, options, now);
        while (!sender.ended()) {
            sender.advance(now);
            if (const auto message = sender.nextMessage(now)) {
                const auto arrived = wire.carry(*message);
                sender.sent(arrived || wire.chance(0.5) ? Delivery::Accepted : Delivery::Unknown, now);
                for (int copies = wire.chance(0.05) ? 2 : 1; arrived && copies > 0; --copies)
                    if (const auto answer = wire.carry(receiver.take(*arrived, now))) sender.answered(*answer, now);
            }
            now += milliseconds(10);
        }
        if (sender.report().end != TransferEnd::Complete) continue;
        ++completed;
        // The checksum covers the data but not the tag of the name, which may be another file's.
        EXPECT_EQ(sender.report().bytes, source.content.size()) << "seed " << seed << " run " << run;
        const bool there = std::find(sink.complete.begin(), sink.complete.end(), source.content) != sink.complete.end();
        const bool held = sink.content == source.content;
        EXPECT_TRUE(there || held) << "seed " << seed << " run " << run;
    }
    EXPECT_GT(completed, 100u);
}
