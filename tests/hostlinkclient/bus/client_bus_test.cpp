// The client over I2C and SPI, against the simulated host of the rig.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <capture/PcapngReader.h>
#include <capture/RecordedWire.h>
#include <hostlinkclient/Client.h>

#include "rig/RigControl.h"
#include "support/Folder.h"
#include "support/MustEnd.h"
#include "support/NoMoreThreads.h"
#include "support/ProcessCounts.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;

enum class Bus { I2c, Spi };
void PrintTo(Bus bus, std::ostream* out) {
    *out << (bus == Bus::I2c ? "I2c" : "Spi");
}

class ClientOnABus : public testing::TestWithParam<Bus> {
protected:
    void SetUp() override { rig.reset(); }

    static Wire wire() {
        const busrig::RigBoard& board = busrig::firstBoard;
        if (GetParam() == Bus::I2c) return I2c{board.i2cPath, board.i2cAddress, board.gpio};
        return Spi{board.spiPath, 1000000, board.gpio};
    }
    static Options quick() {
        Options options;
        options.deadline = 20s;
        options.answerTime = 10s;
        options.lateFor = 1s;
        options.firstPause = 20ms;
        options.longestPause = 100ms;
        return options;
    }
    static std::unique_ptr<Client> connected(const Options& options = quick()) {
        auto client = std::make_unique<Client>(wire(), options);
        EXPECT_TRUE(client->waitUntilUp(20s)) << client->linkText();
        return client;
    }
    // A byte of so many of a hundred packets is hit, and as many answers are lost.
    void damagePackets(int percent) {
        const std::string rate = std::to_string(percent / 400.0);
        // Neither a line that stays low after an exchange that failed nor an acknowledgement that does not come holds
        // the host's answers up for longer than the client waits.
        rig.command("host-options interruptRepeatMs=20,responseTimeoutMs=20,repeatWindowMs=5000");
        rig.command("wire seed=20261122,late-by-ms=0,lost-byte=" + rate + ",corrupted-byte=" + rate +
                    ",inserted-byte=" + rate + ",repeated-byte=" + rate + ",lost-answer=" + rate);
    }
    template <typename Bring> void endsSoon(Bring bring) {
        const long threads = threadCount();
        for (int round = 0; round < 3; ++round) {
            auto client = connected();
            bring(*client);
            const auto began = std::chrono::steady_clock::now();
            client.reset();
            EXPECT_LT(std::chrono::steady_clock::now() - began, 5s); // it does not wait for an answer
            rig.reset();
        }
        EXPECT_TRUE(waitUntilNoMoreThreadsThan(threads));
    }

    busrig::RigControl rig;
};

INSTANTIATE_TEST_SUITE_P(Over, ClientOnABus, testing::Values(Bus::I2c, Bus::Spi), testing::PrintToStringParamName());

TEST_P(ClientOnABus, AsksAndIsTold) {
    const auto client = connected();
    std::atomic<int> volume{-1};
    std::atomic<int> keys{0};
    const Subscription changes = client->subscribe(
        {STA_PlayerVolume}, [&](const Change& change) { volume = change.value.to<int>().valueOr(-2); });
    const Listening events = client->onInputEvent([&](const InputEvent&) { ++keys; });
    ASSERT_TRUE(changes.established(20s));
    for (int i = 1; i <= 20; ++i) {
        EXPECT_EQ(client->set(STA_PlayerVolume, i).text(), "");
        EXPECT_EQ(client->get(STA_PlayerVolume).valueOr({}), Value(i));
    }
    mustBecomeTrue([&] { return volume == 20; }, "told of the last value");
    rig.press(7);
    // More where an acknowledgement comes so late, on a busy machine, that the host says it once more.
    mustBecomeTrue([&] { return keys >= 2; }, "pressed and released");
    const auto isServed = [](const Statistics& counts) { return counts.exchanges >= counts.edges; };
    mustBecomeTrue([&] { return isServed(client->statistics()); }, "each edge has its exchange");
    EXPECT_GT(client->statistics().edges, 0U);
    EXPECT_EQ(client->statistics().garbageBytes, 0U);
}

// A get on a bus: a write and a read for its packet, the edge, a write (IRQ frame) and a read for the answer, and a
// write that acknowledges it.
TEST_P(ClientOnABus, IsRecordedTransactionByTransaction) {
    using capture::Direction;
    const Folder folder;
    const std::string path = folder.path + "/bus.pcapng";
    Options recorded = quick();
    recorded.recorder = Recorder(RecordingFile{path});
    ASSERT_TRUE(connected(recorded)->get(STA_PlayerVolume));
    recorded.recorder->flush();
    std::ifstream file(path, std::ios::binary);
    const ByteArray content(std::istreambuf_iterator<char>(file), {});
    capture::PcapngReader reader;
    reader.append(content.data(), content.size());
    std::vector<capture::Packet> packets;
    while (const auto packet = reader.next()) packets.push_back(*packet);

    ASSERT_EQ(reader.interfaces().size(), 1U);
    const bool isI2c = GetParam() == Bus::I2c;
    const busrig::RigBoard& board = busrig::firstBoard;
    EXPECT_EQ(reader.interfaces()[0].name, isI2c ? board.i2cPath : board.spiPath);
    EXPECT_EQ(reader.interfaces()[0].description.rfind(isI2c ? "i2c transactions" : "spi transactions", 0), 0U);
    const auto count = [&](auto fits) { return std::count_if(packets.begin(), packets.end(), fits); };
    const auto beginsWith = [](const capture::Packet& packet, Direction direction, const ByteArray& bytes) {
        return packet.direction == direction && packet.bytes.size() >= bytes.size() &&
               std::equal(bytes.begin(), bytes.end(), packet.bytes.begin());
    };
    const ByteArray irq{0xFF, 0xFE, 0x0E, 0x00, 0x22};
    const ByteArray request{0xFF, 0xFE, 0x0F, 0x00, 0x23};
    const ByteArray acknowledgement{0xFF, 0xFE, 0x08, 0x00, 0xA3};
    EXPECT_GE(count([](const auto& packet) { return capture::isEdge(packet); }), 2);
    EXPECT_GE(count([](const auto& packet) { return capture::verdictOf(packet) == "Accepted"; }), 2);
    EXPECT_GE(count([&](const auto& packet) { return beginsWith(packet, Direction::Outbound, irq); }), 2);
    EXPECT_GE(count([&](const auto& packet) { return beginsWith(packet, Direction::Outbound, request); }), 2);
    EXPECT_GE(count([&](const auto& packet) { return beginsWith(packet, Direction::Outbound, acknowledgement); }), 2);
    EXPECT_GE(count([&](const auto& packet) { return beginsWith(packet, Direction::Inbound, acknowledgement); }), 2);
    EXPECT_GE(
        count([&](const auto& packet) { return packet.direction == Direction::Inbound && packet.bytes.size() == 64; }),
        2);
}

TEST_P(ClientOnABus, HoldsWhatWasConfirmedUnderDamage) {
    damagePackets(10);
    Options options = quick();
    options.answerTime = 200ms;
    options.sendings = 100; // until the deadline: a busy machine takes its time too
    const auto client = connected(options);
    for (int i = 0; i < 25; ++i) {
        const uint16_t state = static_cast<uint16_t>(0x4000 + i);
        const auto set = client->set(state, 1000 + i, Call(Confirm).whileDown(WhileDown::Wait));
        ASSERT_TRUE(set) << i << ": " << set.text();
    }
    rig.command("wire");
    for (int i = 0; i < 25; ++i)
        EXPECT_EQ(client->get(0x4000 + i, Call().whileDown(WhileDown::Wait)).valueOr({}), Value(1000 + i)) << i;
}

TEST_P(ClientOnABus, ComesBackWithAHostThatWasDeaf) {
    Options impatient = quick();
    impatient.answerTime = 50ms;
    impatient.lateFor = 100ms;
    impatient.sendings = 100; // until the deadline: on a busy machine an answer may come too late
    const auto client = connected(impatient);
    rig.slaveManual();
    mustBecomeTrue(
        [&] {
            client->get(STA_PlayerVolume, Call().within(50ms));
            return client->linkState() == LinkState::Down;
        },
        "down");
    rig.slaveAuto();
    const Call patiently = Call(Confirm).whileDown(WhileDown::Wait);
    EXPECT_EQ(client->set(STA_PlayerVolume, 12, patiently).text(), "");
    EXPECT_EQ(client->linkState(), LinkState::Up);
    EXPECT_GE(client->statistics().reconnects, 1U);
}

// A file of the host's, in a folder that goes with it.
class HostsFile {
public:
    explicit HostsFile(size_t size) : content(size, 'x') {
        for (size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 7 + i / 251);
        std::ofstream(path(), std::ios::binary) << content;
    }

    std::string path() const { return folder.path + "/a.bin"; }
    std::string content;

private:
    const Folder folder;
};

// Takes a file, and may do something once its first bytes have come. A host that waits for an answer in vain, on a busy
// machine, may begin the file again: then that is taken, and done, again. What is told is the end of the first.
struct Taker {
    std::string got;
    std::promise<ReceivedFile> end;
    bool hasEnded = false;
    std::function<void()> atFirst;

    ReceiveOptions options() {
        ReceiveOptions given;
        given.begin = [this](const IncomingFile&) {
            got.clear();
            return true;
        };
        given.write = [this](const unsigned char* data, size_t size) {
            got.append(reinterpret_cast<const char*>(data), size);
            if (got.size() == size && atFirst) atFirst();
            return true;
        };
        given.end = [this](const ReceivedFile& file) {
            if (!std::exchange(hasEnded, true)) end.set_value(file);
        };
        return given;
    }
    ReceivedFile wait() {
        auto ended = end.get_future();
        mustEnd(ended, "the file");
        return ended.get();
    }
};

TEST_P(ClientOnABus, TakesAFileThatTheHostSends) {
    const HostsFile file(10000);
    rig.command("host-options damageChunkEvery=3,loseChunkEvery=13");
    const auto client = connected();
    Taker taker;
    const auto receiving = client->receiveFiles(taker.options());
    ASSERT_TRUE(receiving) << receiving.text();
    rig.command("send-file " + file.path());
    EXPECT_EQ(taker.wait().end, FileEnd::Complete);
    EXPECT_EQ(taker.got, file.content);
    std::string told;
    mustBecomeTrue([&] { return !(told = rig.command("files")).empty(); }, "the host's end of it");
    EXPECT_EQ(told.rfind("a.bin: complete, 10000 bytes, checksum 0x", 0), 0U) << told;
}

TEST_P(ClientOnABus, IsToldThatTheHostHasEndedAFile) {
    const HostsFile file(200000);
    const auto client = connected();
    Taker taker;
    taker.atFirst = [this] { rig.command("abort-file"); };
    const auto receiving = client->receiveFiles(taker.options());
    rig.command("send-file " + file.path());
    EXPECT_EQ(taker.wait().end, FileEnd::Aborted);
    EXPECT_LT(taker.got.size(), file.content.size());
    std::string told;
    mustBecomeTrue([&] { return !(told = rig.command("files")).empty(); }, "the host's end of it");
    EXPECT_EQ(told.rfind("a.bin: cancelled, ", 0), 0U) << told;
}

TEST_P(ClientOnABus, EndsAFileOfTheHost) {
    const HostsFile file(200000);
    const auto client = connected();
    Taker taker;
    std::promise<const Receiving*> begun;
    taker.atFirst = [handle = begun.get_future().share()] { handle.get()->cancel(); };
    Result<Receiving> receiving = client->receiveFiles(taker.options());
    ASSERT_TRUE(receiving) << receiving.text();
    begun.set_value(&*receiving);
    rig.command("send-file " + file.path());
    EXPECT_EQ(taker.wait().end, FileEnd::Cancelled);
    std::string told;
    mustBecomeTrue([&] { return !(told = rig.command("files")).empty(); }, "the host's end of it");
    EXPECT_EQ(told.rfind("a.bin: refused by the module, ", 0), 0U) << told;
    Receiving(*receiving).end(); // it is told nothing more
    EXPECT_LT(taker.got.size(), file.content.size());
}

TEST_P(ClientOnABus, EndsSoonWhenIdle) {
    endsSoon([](Client&) {});
}

TEST_P(ClientOnABus, EndsSoonWhenTheHostIsDeaf) {
    endsSoon([this](Client& client) {
        rig.slaveManual();
        client.getAsync(STA_PlayerVolume);
    });
}

TEST_P(ClientOnABus, EndsSoonUnderAFloodOfEvents) {
    endsSoon([this](Client& client) {
        std::atomic<int> keys{0};
        const Listening events = client.onInputEvent([&](const InputEvent&) { ++keys; });
        rig.burst(5000);
        mustBecomeTrue([&] { return keys > 10; }, "events come");
    });
}

} // namespace
