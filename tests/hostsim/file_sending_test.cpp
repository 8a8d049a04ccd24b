// Files that the simulated host sends, to a module that the test plays: it acknowledges every packet and gives the
// messages to a receiver. The test moves the clock, so nothing here takes time.
#include <algorithm>

#include <gtest/gtest.h>

#include <exchange/ChunkReceiver.h>
#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostsim/FileSending.h>
#include <hostsim/HostOnLine.h>

#include "support/Bytes.h"

using hostsim::FileSending;
using hostsim::HostOnLine;
using hostsim::HostOptions;
using hostsim::SimulatedHost;
using hostsim::Time;
using std::chrono::seconds;

namespace {

namespace exchange = hostlink::exchange;

using Texts = std::vector<std::string>;

class Module : exchange::ByteSink {
public:
    explicit Module(const HostOptions& options = {}) : host(options) {}

    // Until nothing happens any more by itself, or so many files have ended.
    Texts run(size_t filesToEnd = 1) {
        Texts texts;
        while (texts.size() < filesToEnd) {
            files.advance(now);
            while (move()) {
            }
            for (const auto& file : files.takeEnded()) texts.push_back(textOf(file));
            const auto line = onLine.nextDeadline(now);
            const auto file = files.deadline();
            if (!line && !file) break;
            now = std::max(now, std::min(line.value_or(Time::max()), file.value_or(Time::max())));
        }
        return texts;
    }

    SimulatedHost host;
    HostOnLine onLine{host};
    FileSending files{host};
    Time now{0};
    std::vector<ByteArray> received;
    bool isDeaf = false;      // to messages; its link is not
    bool wantsFiles = true;   // else it refuses them
    size_t abortsBehind = 99; // messages

private:
    bool begin(const std::string& /*name*/, std::optional<uint32_t> /*size*/) override {
        content.clear();
        return wantsFiles;
    }
    bool write(const uint8_t* data, size_t size) override {
        content.insert(content.end(), data, data + size);
        return true;
    }
    void end(const exchange::ReceivingReport& report) override {
        if (report.end == exchange::ReceivingEnd::Complete) received.push_back(content);
    }

    bool move() {
        const ByteArray packet = onLine.nextWrite(now);
        if (packet.empty()) return false;
        if (HostLinkPacket::frameType(packet) == FRT_Response) return true;
        onLine.receive(bytes("FF FE 08 00 A3 05 00 00"), now);
        frame.addPacket(packet);
        if (!HostLinkPacket::isLast(packet)) return true;
        const ByteArray message = std::exchange(frame, {}).data();
        files.advance(now);
        if (!isDeaf) answer(message);
        if (++messages == abortsBehind) files.abort();
        files.advance(now);
        return true;
    }
    void answer(const ByteArray& message) {
        const ByteArray said = receiver.take(message, now);
        onLine.receive(HostLinkMsgFrame(said, nextId++ & 0xFF, 4096).serializePacket(0), now);
    }

    exchange::ChunkReceiver receiver{*this};
    HostLinkFrame frame;
    ByteArray content;
    int nextId = 0;
    size_t messages = 0;
};

// "123456789": 0xAFF19057; see transfer_test.cpp for where that comes from.
const ByteArray nine = bytes("31 32 33 34 35 36 37 38 39");

} // namespace

TEST(FileSending, ArrivesWhole) {
    Module module;
    module.files.send("nine", nine);
    EXPECT_EQ(module.run(), Texts{"nine: complete, 9 bytes, checksum 0xaff19057, 0 chunks sent again"});
    EXPECT_EQ(module.received, std::vector<ByteArray>{nine});
    EXPECT_FALSE(module.files.deadline());
}

TEST(FileSending, SendsOneAfterAnother) {
    Module module;
    const ByteArray large = patternBytes(70000);
    module.files.send("large", large);
    module.files.send("empty", {});
    module.files.send("nine", nine);
    EXPECT_EQ(module.run(3), (Texts{"large: complete, 70000 bytes, checksum 0x93d5e403, 0 chunks sent again",
                                    "empty: complete, 0 bytes, checksum 0xffffffff, 0 chunks sent again",
                                    "nine: complete, 9 bytes, checksum 0xaff19057, 0 chunks sent again"}));
    EXPECT_EQ(module.received, (std::vector<ByteArray>{large, {}, nine}));
}

// 70000 bytes are 70 chunks of 1004, the last of 724; one of eight in a row is lost and one damaged.
TEST(FileSending, SendsAgainWhatWasLostOrDamaged) {
    HostOptions options;
    options.faults.damageChunkEvery = 8;
    options.faults.loseChunkEvery = 9;
    Module module(options);
    const ByteArray large = patternBytes(70000);
    module.files.send("large", large);
    const Texts ended = module.run();
    EXPECT_EQ(module.received, std::vector<ByteArray>{large});
    const uint64_t again = module.host.counts().faultDamagedChunks + module.host.counts().faultLostChunks;
    EXPECT_GE(again, 16u);
    EXPECT_EQ(ended, Texts{"large: complete, 70000 bytes, checksum 0x93d5e403, " + std::to_string(again) +
                           " chunks sent again"});
    EXPECT_GE(module.now, seconds(7)); // a lost one is missed after a second
}

TEST(FileSending, EndsWhenTheModuleRefusesIt) {
    Module module;
    module.wantsFiles = false;
    module.files.send("nine", nine);
    EXPECT_EQ(module.run(), Texts{"nine: refused by the module, 0 bytes, checksum 0x00000000, 0 chunks sent again"});
    EXPECT_TRUE(module.received.empty());
}

TEST(FileSending, EndsWhenNobodyAnswers) {
    Module module;
    module.isDeaf = true;
    module.files.send("nine", nine);
    const Texts ended = module.run();
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(ended[0].rfind("nine: not answered by the module, 0 bytes", 0), 0u) << ended[0];
    EXPECT_GE(module.now, seconds(30));
    EXPECT_LE(module.now, seconds(31));
}

TEST(FileSending, IsAbortedAndForgetsThoseBehindIt) {
    Module module;
    module.abortsBehind = 3;
    module.files.send("large", patternBytes(70000));
    module.files.send("nine", nine);
    const Texts ended = module.run(2);
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(ended[0].rfind("large: cancelled, ", 0), 0u) << ended[0];
    EXPECT_TRUE(module.received.empty());
    module.files.send("nine", nine);
    EXPECT_EQ(module.run(), Texts{"nine: complete, 9 bytes, checksum 0xaff19057, 0 chunks sent again"});
    module.files.abort(); // nothing is under way
    module.files.send("nine", nine);
    EXPECT_EQ(module.run().size(), 1u);
}

TEST(FileSending, LeavesOtherAnswersAlone) {
    Module module;
    EXPECT_FALSE(module.files.handle(bytes("07 80 00")));
    module.files.send("nine", nine);
    module.files.advance(Time(0));
    EXPECT_FALSE(module.files.handle(bytes("01 80 00")));
    EXPECT_TRUE(module.files.handle(bytes("00 80 00")));
}

TEST(FileSending, NamesEveryEnd) {
    using exchange::TransferEnd;
    EXPECT_STREQ(hostsim::nameOf(TransferEnd::Unsupported), "not supported by the module");
    EXPECT_STREQ(hostsim::nameOf(TransferEnd::Forgotten), "forgotten by the module");
    EXPECT_STREQ(hostsim::nameOf(TransferEnd::Damaged), "held differently by the module");
    EXPECT_STREQ(hostsim::nameOf(TransferEnd::Unreadable), "not readable");
}
