// Files of a host that the test plays.
#include <condition_variable>
#include <map>
#include <mutex>

#include <gtest/gtest.h>

#include <exchange/ChunkMessages.h>
#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Client.h>

#include "hostlinkclient/session/PlayedHost.h"
#include "support/Bytes.h"
#include "support/NoMoreThreads.h"

using namespace hostlink;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr auto patience = seconds(20); // of the test

ByteArray chunk(uint32_t number, const ByteArray& data, bool last = false, bool named = false) {
    exchange::Chunk record;
    if (named) record.name = "from the host";
    record.sequence = exchange::SequenceNumber{ENC_Uint32, number};
    record.data = data.data();
    record.size = data.size();
    record.last = last;
    return writeChunk(record);
}

// A program that keeps what it gets.
struct Program {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<IncomingFile> begun;
    ByteArray content;
    std::vector<ReceivedFile> ended;
    bool wants = true;
    bool canWrite = true;

    ReceiveOptions options() {
        ReceiveOptions given;
        given.begin = [this](const IncomingFile& file) {
            const std::lock_guard lock(mutex);
            begun.push_back(file);
            changed.notify_all();
            return wants;
        };
        given.write = [this](const unsigned char* data, size_t size) {
            const std::lock_guard lock(mutex);
            content.insert(content.end(), data, data + size);
            changed.notify_all();
            return canWrite;
        };
        given.end = [this](const ReceivedFile& file) {
            const std::lock_guard lock(mutex);
            ended.push_back(file);
            changed.notify_all();
        };
        return given;
    }
    template <typename Condition> bool until(Condition condition) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, patience, condition);
    }
};

struct Host {
    PlayedHost played;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<exchange::ChunkAnswer> answers;

    Host() {
        played.does([this](const ByteArray& message) {
            if (HostLinkMessage::messageId(message) != MSG_DataTransferResponse)
                return PlayedHost::Reaction{Accepted, played.simulated(message)};
            const std::lock_guard lock(mutex);
            answers.push_back(*exchange::readAnswer(message));
            changed.notify_all();
            return PlayedHost::Reaction{};
        });
    }
    // Says it, and waits for the answer.
    exchange::ChunkAnswer ask(const ByteArray& message) {
        std::unique_lock lock(mutex);
        answers.clear();
        lock.unlock();
        played.say(message);
        lock.lock();
        EXPECT_TRUE(changed.wait_for(lock, patience, [this] { return !answers.empty(); }));
        return answers.empty() ? exchange::ChunkAnswer{} : answers.back();
    }
};

struct Both {
    Host host;
    Program program;
    Client client{host.played.wire()};
    Both() { EXPECT_TRUE(client.waitUntilUp(patience)); }
};

} // namespace

TEST(ReceivingAFile, StoresItAndAnswersTheHost) {
    Both both;
    const auto receiving = both.client.receiveFiles(both.program.options());
    ASSERT_TRUE(receiving) << receiving.text();
    EXPECT_EQ(both.host.ask(chunk(0, bytes("01 02 03 04"), false, true)).sequence->number, 0u);
    const auto last = both.host.ask(chunk(1, bytes("05"), true));
    EXPECT_EQ(last.fileSize, 5u);
    ASSERT_TRUE(both.program.until([&] { return !both.program.ended.empty(); }));
    EXPECT_EQ(hex(both.program.content), "01 02 03 04 05");
    EXPECT_EQ(both.program.begun.at(0).name, "from the host");
    EXPECT_FALSE(both.program.begun.at(0).size);
    EXPECT_EQ(both.program.ended.at(0).end, FileEnd::Complete);
    EXPECT_EQ(both.program.ended.at(0).bytes, 5u);
    EXPECT_EQ(both.program.ended.at(0).checksum, last.fileChecksum);
}

TEST(ReceivingAFile, MayBeRefused) {
    Both both;
    both.program.wants = false;
    const auto receiving = both.client.receiveFiles(both.program.options());
    EXPECT_TRUE(both.host.ask(chunk(0, bytes("01"), false, true)).aborted);
}

TEST(ReceivingAFile, MayFailToBeStored) {
    Both both;
    both.program.canWrite = false;
    const auto receiving = both.client.receiveFiles(both.program.options());
    EXPECT_TRUE(both.host.ask(chunk(0, bytes("01"), false, true)).aborted);
    ASSERT_TRUE(both.program.until([&] { return !both.program.ended.empty(); }));
    EXPECT_EQ(both.program.ended.at(0).end, FileEnd::Unwritable);
}

TEST(ReceivingAFile, CanBeCancelled) {
    Both both;
    const auto receiving = both.client.receiveFiles(both.program.options());
    both.host.ask(chunk(0, bytes("01 02 03 04"), false, true));
    receiving->cancel();
    ASSERT_TRUE(both.program.until([&] { return !both.program.ended.empty(); }));
    EXPECT_EQ(both.program.ended.at(0).end, FileEnd::Cancelled);
    EXPECT_TRUE(both.host.ask(chunk(1, bytes("05"), true)).aborted);
}

TEST(ReceivingAFile, EndsWhenTheHostStopsSending) {
    Both both;
    ReceiveOptions options = both.program.options();
    options.patience = seconds(1); // also of the answer to the chunk, which a busy machine may not have sent by then
    const auto receiving = both.client.receiveFiles(options);
    both.host.played.say(chunk(0, bytes("01 02 03 04"), false, true));
    ASSERT_TRUE(both.program.until([&] { return !both.program.ended.empty(); }));
    EXPECT_EQ(both.program.ended.at(0).end, FileEnd::Silent);
}

TEST(ReceivingAFile, NeedsNothingButAPlaceForTheBytes) {
    Both both;
    ReceiveOptions options;
    options.write = both.program.options().write;
    const auto receiving = both.client.receiveFiles(options);
    EXPECT_TRUE(both.host.ask(chunk(0, bytes("01"), true, true)).last);
}

TEST(ReceivingAFile, IsOverWithTheLastCopy) {
    Both both;
    {
        Result<Receiving> first = both.client.receiveFiles(both.program.options());
        Receiving copy = *first;
        first = both.client.receiveFiles(both.program.options());
        EXPECT_EQ(first.outcome(), Outcome::BadArgument);
        EXPECT_FALSE(both.host.ask(chunk(0, bytes("01 02 03 04"), false, true)).aborted);
        Receiving other;
        other = copy;
    }
    EXPECT_EQ(both.program.ended.at(0).end, FileEnd::Cancelled);
    Result<Receiving> next = both.client.receiveFiles(both.program.options());
    while (!next) next = both.client.receiveFiles(both.program.options());
    Receiving ended = *next;
    ended.end();
    ended.end();
    ended.cancel();
    Receiving none;
    none.end();
    none.cancel();
}

TEST(ReceivingAFile, EndsWithTheClient) {
    Both both;
    const auto receiving = both.client.receiveFiles(both.program.options());
    both.host.ask(chunk(0, bytes("01 02 03 04"), false, true));
    both.client.close();
    ASSERT_EQ(both.program.ended.size(), 1u);
    EXPECT_EQ(both.program.ended.at(0).end, FileEnd::Cancelled);
    EXPECT_EQ(both.client.receiveFiles(both.program.options()).outcome(), Outcome::BadArgument);
}

TEST(ReceivingAFile, SaysWhatIsWrongWithIt) {
    Both both;
    EXPECT_NE(both.client.receiveFiles({}).text().find("Set `write`"), std::string::npos);
    ReceiveOptions options = both.program.options();
    options.patience = milliseconds(0);
    EXPECT_NE(both.client.receiveFiles(options).text().find("a time of nothing"), std::string::npos);
}

TEST(ReceivingAFile, SaysThatThereIsNoThreadForIt) {
    Both both;
    {
        const NoMoreThreads none;
        const auto never = both.client.receiveFiles(both.program.options());
        EXPECT_EQ(never.outcome(), Outcome::NotSent);
        EXPECT_EQ(never.text().rfind("receiving files: no thread for it: ", 0), 0u) << never.text();
    }
    const auto receiving = both.client.receiveFiles(both.program.options());
    ASSERT_TRUE(receiving) << receiving.text();
    EXPECT_TRUE(both.host.ask(chunk(0, bytes("01"), true, true)).last);
}

TEST(FileEnds, HaveNames) {
    const std::map<FileEnd, std::string> names = {{FileEnd::Complete, "Complete"}, {FileEnd::Damaged, "Damaged"},
                                                  {FileEnd::Aborted, "Aborted"},   {FileEnd::Cancelled, "Cancelled"},
                                                  {FileEnd::Silent, "Silent"},     {FileEnd::Unwritable, "Unwritable"}};
    for (const auto& [end, name] : names) EXPECT_EQ(nameOf(end), name);
    EXPECT_STREQ(nameOf(static_cast<FileEnd>(99)), "unknown");
}

TEST(ReceivingAFile, TellsOfAnotherNumberOfBytesAndOfAbort) {
    Both both;
    const auto receiving = both.client.receiveFiles(both.program.options());
    // Five bytes announced, one sent.
    both.host.ask(bytes("07 00 05 00 00 C5 01 00 66 06 00 CE 05 00 00 00 01 00 CC 00 02 00 C5 01 00 39 03 00 C0"));
    both.host.ask(chunk(0, bytes("01 02 03 04"), false, true));
    both.host.ask(exchange::writeAbort());
    ASSERT_TRUE(both.program.until([&] { return both.program.ended.size() == 2; }));
    EXPECT_EQ(both.program.ended.at(0).end, FileEnd::Damaged);
    EXPECT_EQ(both.program.ended.at(1).end, FileEnd::Aborted);
}
