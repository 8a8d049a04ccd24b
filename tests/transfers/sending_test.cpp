// Files to a host that the test plays; it takes them as the simulated host does.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include <exchange/ChunkMessages.h>
#include <exchange/TransferChecksum.h>
#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Client.h>

#include "hostlinkclient/session/PlayedHost.h"
#include "hostlinkclient/session/Session.h"
#include "hostlinkclient/session/WireData.h"
#include "support/Bytes.h"
#include "support/MustEnd.h"
#include "support/NoMoreThreads.h"

using namespace hostlink;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr size_t fileSize = 5000; // five chunks

// Nobody waits for any of these where all goes well.
Options quick() {
    Options options;
    options.firstPause = milliseconds(1);
    options.longestPause = milliseconds(10);
    options.deadline = seconds(20);
    options.answerTime = seconds(10);
    options.lateFor = milliseconds(50);
    return options;
}

SendOptions named() {
    SendOptions options;
    options.name = "a.bin";
    options.answerTime = seconds(10);
    return options;
}

// For a chunk that is not answered. `long` enough for all others on a busy machine, where none of them should come
// twice.
SendOptions waiting(milliseconds time) {
    SendOptions options = named();
    options.answerTime = time;
    return options;
}
constexpr milliseconds shortTime(100);
constexpr milliseconds longTime(2000);

std::shared_ptr<std::istream> stream(const ByteArray& content) {
    return std::make_shared<std::istringstream>(std::string(content.begin(), content.end()));
}

// A pipe, say: it cannot go back.
struct OneWay : std::stringbuf {
    explicit OneWay(const ByteArray& content) : std::stringbuf(std::string(content.begin(), content.end())) {}
    pos_type seekoff(off_type, std::ios::seekdir, std::ios::openmode) override { return pos_type(off_type(-1)); }
    pos_type seekpos(pos_type, std::ios::openmode) override { return pos_type(off_type(-1)); }
};
struct Pipe : std::istream {
    explicit Pipe(const ByteArray& content) : std::istream(nullptr), bytesOfIt(content) { rdbuf(&bytesOfIt); }
    OneWay bytesOfIt;
};

// Tells that it is read: what is sent of it begins then.
struct Begun : std::stringbuf {
    Begun(const ByteArray& content, std::promise<void>& when)
        : std::stringbuf(std::string(content.begin(), content.end())), isRead(when) {}
    std::streamsize xsgetn(char* to, std::streamsize room) override {
        if (std::exchange(isFirst, false)) isRead.set_value();
        return std::stringbuf::xsgetn(to, room);
    }
    std::promise<void>& isRead;
    bool isFirst = true;
};
struct BegunFile : std::istream {
    BegunFile(const ByteArray& content, std::promise<void>& when) : std::istream(nullptr), bytesOfIt(content, when) {
        rdbuf(&bytesOfIt);
    }
    Begun bytesOfIt;
};

// A device that has failed, say.
struct Unreadable : OneWay {
    using OneWay::OneWay;
    std::streamsize xsgetn(char*, std::streamsize) override { throw std::runtime_error("cannot be read"); }
};
struct BrokenFile : std::istream {
    explicit BrokenFile(const ByteArray& content) : std::istream(nullptr), bytesOfIt(content) { rdbuf(&bytesOfIt); }
    Unreadable bytesOfIt;
};

bool isTransfer(const ByteArray& message) {
    return HostLinkMessage::messageId(message) == MSG_DataTransfer;
}

bool isThird(const ByteArray& chunk) {
    const auto number = exchange::readChunk(chunk)->sequence;
    return number && number->number == 2;
}

struct File {
    PlayedHost host;
    Client client{host.wire(), quick()};
    ByteArray content = patternBytes(fileSize);
    uint32_t checksum = exchange::TransferChecksum::of(content.data(), content.size());

    Result<FileSent> send(const SendOptions& options = named()) {
        const auto sending = client.beginSending(stream(content), options);
        return sending ? sending->wait() : Result<FileSent>(*sending.failure());
    }
    // What the host does with transfers; the rest is as ever.
    void does(std::function<PlayedHost::Reaction(const ByteArray&)> what) {
        host.does([this, what](const ByteArray& message) {
            return isTransfer(message) ? what(message) : PlayedHost::Reaction{Accepted, host.simulated(message)};
        });
    }
    // The host is reset when the third chunk comes, to which it says nothing, and knows of no file from then on.
    void losesItAtTheThirdChunk() {
        does([this, other = std::make_shared<hostsim::HostApplication>(),
              isReset = false](const ByteArray& message) mutable {
            if (isThird(message) && !std::exchange(isReset, true)) return PlayedHost::Reaction{NoResponse, {}};
            return PlayedHost::Reaction{Accepted, isReset ? other->handle(message) : host.simulated(message)};
        });
    }
};

} // namespace

TEST(SendingAFile, EndsWhenTheHostHoldsIt) {
    File file;
    std::vector<uint64_t> far;
    SendOptions options = named();
    options.progress = [&far](const Progress& progress) {
        far.push_back(progress.bytes);
        EXPECT_EQ(progress.total, fileSize);
    };
    const auto sent = file.send(options);
    ASSERT_TRUE(sent) << sent.text();
    EXPECT_EQ(sent->bytes, fileSize);
    EXPECT_EQ(sent->checksum, file.checksum);
    EXPECT_EQ(sent->chunks, 5u);
    EXPECT_EQ(sent->repeated, 0u);
    EXPECT_EQ(far, (std::vector<uint64_t>{1004, 2008, 3012, 4016, 5000}));
}

TEST(SendingAFile, TakesItsNameFromItsPath) {
    File file;
    std::string folder = testing::TempDir() + "sending-XXXXXX";
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    const std::string path = folder + "/a transfer.bin";
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(file.content.data()), fileSize);
    const auto sent = file.client.sendFile(path);
    ASSERT_TRUE(sent) << sent.text();
    EXPECT_EQ(sent->checksum, file.checksum);
    std::string name;
    for (const ByteArray& message : file.host.messages())
        if (isTransfer(message) && name.empty()) name = *exchange::readChunk(message)->name;
    EXPECT_EQ(name, "a transfer.bin");
    ::remove(path.c_str());
    ::remove(folder.c_str());
}

TEST(SendingAFile, FromAPipeHasNoSize) {
    File file;
    const auto sending = file.client.beginSending(std::make_shared<Pipe>(file.content), named());
    ASSERT_TRUE(sending) << sending.text();
    const auto sent = sending->wait();
    ASSERT_TRUE(sent) << sent.text();
    EXPECT_EQ(sent->checksum, file.checksum);
    EXPECT_FALSE(sending->progress().total);
    EXPECT_EQ(sending->progress().bytes, fileSize);
}

TEST(SendingAFile, RepeatsAChunkThatArrivedDamaged) {
    File file;
    int chunks = 0;
    file.does([&](const ByteArray& message) {
        ByteArray arrived = message;
        if (++chunks == 2) arrived[arrived.size() - 20] ^= 1;
        return PlayedHost::Reaction{Accepted, file.host.simulated(arrived)};
    });
    const auto sent = file.send();
    ASSERT_TRUE(sent) << sent.text();
    EXPECT_EQ(sent->checksum, file.checksum);
    EXPECT_EQ(sent->repeated, 1u);
}

TEST(SendingAFile, RepeatsAChunkWhoseAnswerGotLost) {
    File file;
    unsigned chunks = 0;
    file.does([&](const ByteArray& message) {
        const auto answers = file.host.simulated(message);
        return PlayedHost::Reaction{Accepted, ++chunks == 3 ? std::vector<ByteArray>{} : answers};
    });
    const auto sent = file.send(waiting(longTime));
    ASSERT_TRUE(sent) << sent.text();
    EXPECT_EQ(sent->checksum, file.checksum);
    // Others as well, on a machine on which their answers come late. The last may still be on its way.
    EXPECT_GE(sent->repeated, 1u);
    mustBecomeTrue([&] { return file.host.guarded([&] { return chunks; }) == 5 + sent->repeated; }, "each has come");
}

// The host answers nothing to the third chunk: the client makes a new link, over which it goes on.
TEST(SendingAFile, GoesOnOverANewLink) {
    File file;
    file.does([&](const ByteArray& message) {
        if (isThird(message) && file.host.linksMade() < 2) return PlayedHost::Reaction{NoResponse, {}};
        return PlayedHost::Reaction{Accepted, file.host.simulated(message)};
    });
    const auto sent = file.send(waiting(shortTime));
    ASSERT_TRUE(sent) << sent.text();
    EXPECT_EQ(sent->checksum, file.checksum);
    EXPECT_EQ(sent->restarts, 0);
    EXPECT_GE(file.host.linksMade(), 2);
}

TEST(SendingAFile, BeginsAnewAtAHostThatHasLostIt) {
    File file;
    file.losesItAtTheThirdChunk();
    const auto sent = file.send(waiting(longTime));
    ASSERT_TRUE(sent) << sent.text();
    EXPECT_EQ(sent->checksum, file.checksum);
    EXPECT_EQ(sent->restarts, 1);
}

TEST(SendingAFile, FromAPipeCannotBeginAnew) {
    File file;
    file.losesItAtTheThirdChunk();
    const auto sent = file.client.beginSending(std::make_shared<Pipe>(file.content), waiting(longTime))->wait();
    EXPECT_EQ(sent.outcome(), Outcome::Aborted);
    EXPECT_NE(sent.text().find("the host has lost the transfer"), std::string::npos) << sent.text();
}

TEST(SendingAFile, EndsWhenTheHostEndsIt) {
    File file;
    int chunks = 0;
    file.does([&](const ByteArray& message) {
        auto answers = file.host.simulated(message);
        if (++chunks == 2) answers[0] = answers[0] + bytes("05 00 C0");
        if (chunks == 2) ++answers[0][2]; // one item more
        return PlayedHost::Reaction{Accepted, answers};
    });
    const auto sent = file.send();
    EXPECT_EQ(sent.outcome(), Outcome::Aborted);
    EXPECT_EQ(sent.text(),
              "the file a.bin: the host has ended the transfer. Look at the host for its reason (1004 bytes "
              "acknowledged)");
    EXPECT_TRUE(sent.mayHaveBeenExecuted());
}

TEST(SendingAFile, IsUnsupportedByAHostThatKnowsNoTransfers) {
    File file;
    file.does([](const ByteArray&) { return PlayedHost::Reaction{Accepted, {bytes("00 80 00")}}; });
    EXPECT_EQ(file.send().outcome(), Outcome::Unsupported);
}

TEST(SendingAFile, EndsWhenTheHostHoldsAnother) {
    File file;
    file.does([&](const ByteArray& message) {
        auto answers = file.host.simulated(message);
        if (exchange::readAnswer(answers[0])->last) answers[0].back() ^= 1;
        return PlayedHost::Reaction{Accepted, answers};
    });
    EXPECT_EQ(file.send().outcome(), Outcome::HoldsAnother);
}

TEST(SendingAFile, EndsWithPatience) {
    File file;
    file.does([](const ByteArray&) { return PlayedHost::Reaction{Accepted, {}}; });
    SendOptions options = waiting(shortTime);
    options.patience = milliseconds(300);
    const auto sent = file.send(options);
    EXPECT_EQ(sent.outcome(), Outcome::Unanswered);
    EXPECT_FALSE(sent.mayHaveBeenExecuted());
}

TEST(SendingAFile, WaitsForALinkAsLongAsItsPatienceLasts) {
    File file;
    file.client.close(); // the host has one link at a time
    file.host.refuseLinks(true);
    Client client(file.host.wire(), quick());
    SendOptions options = named();
    options.patience = milliseconds(200);
    const auto never = client.beginSending(stream(file.content), options)->wait();
    EXPECT_EQ(never.outcome(), Outcome::Unanswered);
    const auto sending = client.beginSending(stream(file.content), named());
    file.host.refuseLinks(false);
    EXPECT_TRUE(sending->wait());
}

// The client's thread is held up, which tells of the link: over one that is up by then nothing has been sent.
TEST(SendingAFile, BeginsWhenItIsToldThatTheLinkIsUp) {
    File file;
    file.client.close(); // the host has one link at a time
    std::promise<void> open;
    auto opened = open.get_future();
    Client client(OwnLink{[&, wire = file.host.wire()] {
                              opened.wait();
                              return wire.inside().make();
                          },
                          "played", 64},
                  quick());
    std::promise<void> held;
    std::promise<void> goOn;
    sessionOf(client).post([&] {
        held.set_value();
        goOn.get_future().wait();
    });
    held.get_future().wait();
    std::promise<void> begun;
    const auto sending = client.beginSending(std::make_shared<BegunFile>(file.content, begun), named());
    ASSERT_TRUE(sending) << sending.text();
    auto hasBegun = begun.get_future();
    mustEnd(hasBegun, "the beginning of the file");
    open.set_value();
    EXPECT_TRUE(client.get(STA_PlayerVolume)); // behind whatever has been asked before
    EXPECT_EQ(file.host.count(MSG_DataTransfer), 0u);
    goOn.set_value();
    EXPECT_TRUE(sending->wait());
}

TEST(SendingAFile, CanBeCancelled) {
    File file;
    std::promise<void> second;
    int chunks = 0;
    file.does([&](const ByteArray& message) {
        if (++chunks == 2) second.set_value();
        const bool answered = chunks == 1 || exchange::readChunk(message)->aborted;
        return PlayedHost::Reaction{Accepted, answered ? file.host.simulated(message) : std::vector<ByteArray>{}};
    });
    const auto sending = file.client.beginSending(stream(file.content), waiting(shortTime));
    second.get_future().wait();
    EXPECT_FALSE(sending->waitFor(milliseconds(1)));
    const Sending same = *sending;
    same.cancel();
    const auto sent = sending->wait();
    EXPECT_EQ(sent.outcome(), Outcome::Cancelled);
    EXPECT_EQ(hex(file.host.messages().back()), "07 00 01 05 00 C0");
    EXPECT_TRUE(sending->waitFor(milliseconds(0)));
}

TEST(SendingAFile, IsOneAtATime) {
    File file;
    file.does([](const ByteArray&) { return PlayedHost::Reaction{Accepted, {}}; });
    const auto first = file.client.beginSending(stream(file.content), waiting(shortTime));
    ASSERT_TRUE(first);
    const auto second = file.client.beginSending(stream(file.content), named());
    EXPECT_EQ(second.outcome(), Outcome::BadArgument);
    EXPECT_NE(second.text().find("another file is on its way"), std::string::npos);
    Sending copy = *first;
    copy = *first;
    copy.cancel();
    EXPECT_FALSE(first->wait());
    // The next may begin; the client lets go of the first within a moment.
    Result<Sending> third = file.client.beginSending(stream(file.content), named());
    while (!third) third = file.client.beginSending(stream(file.content), named());
}

TEST(SendingAFile, EndsWithTheClient) {
    File file;
    file.does([](const ByteArray&) { return PlayedHost::Reaction{Accepted, {}}; });
    const auto sending = file.client.beginSending(stream(file.content), named());
    const auto before = std::chrono::steady_clock::now();
    file.client.close();
    EXPECT_EQ(sending->wait().outcome(), Outcome::Cancelled);
    EXPECT_LT(std::chrono::steady_clock::now() - before, seconds(10));
    EXPECT_EQ(file.client.beginSending(stream(file.content), named()).outcome(), Outcome::BadArgument);
}

TEST(SendingAFile, SaysWhatIsWrongWithIt) {
    File file;
    const auto problem = [&](const SendOptions& options) {
        const auto result = file.client.beginSending(stream(file.content), options);
        EXPECT_EQ(result.outcome(), Outcome::BadArgument);
        return result.text();
    };
    SendOptions options = named();
    options.name = "";
    EXPECT_EQ(problem(options), "the file : it has no name. Give one in the options");
    options.name = std::string(256, 'x');
    EXPECT_NE(problem(options).find("longer than 255 bytes"), std::string::npos);
    options = named();
    options.chunk = 6;
    EXPECT_NE(problem(options).find("multiple of four"), std::string::npos);
    options.chunk = 13800; // and 37 bytes and the name beside it, where 256 packets of 54 bytes have room for 13824
    EXPECT_NE(problem(options).find("into 256 packets of this wire"), std::string::npos);
    options.chunk = 64004;
    EXPECT_NE(problem(options).find("up to 64000"), std::string::npos);
    options = named();
    options.answerTime = milliseconds(0);
    EXPECT_NE(problem(options).find("a time of nothing"), std::string::npos);
    options = named();
    options.patience = milliseconds(-1);
    EXPECT_NE(problem(options).find("a time of nothing"), std::string::npos);
    options = named();
    options.restarts = -1;
    EXPECT_NE(problem(options).find("less than never"), std::string::npos);
    EXPECT_EQ(file.client.sendFile("/nowhere/at/all").text(), "the file /nowhere/at/all cannot be opened");
    const auto folder = file.client.sendFile("/tmp");
    EXPECT_EQ(folder.outcome(), Outcome::BadArgument) << folder.text();
}

TEST(SendingAFile, ThatCannotBeReadIsNotSent) {
    File file;
    const auto sent = file.client.beginSending(std::make_shared<BrokenFile>(file.content), named())->wait();
    EXPECT_EQ(sent.outcome(), Outcome::BadArgument);
    EXPECT_EQ(sent.text(),
              "the file a.bin: the data cannot be read, or are not as many as announced (0 bytes acknowledged)");
    EXPECT_FALSE(sent.mayHaveBeenExecuted());
    EXPECT_EQ(file.host.count(MSG_DataTransfer), 0u);
}

TEST(SendingAFile, SaysThatThereIsNoThreadForIt) {
    File file;
    ASSERT_TRUE(file.client.waitUntilUp(seconds(20)));
    {
        const NoMoreThreads none;
        const auto never = file.send();
        EXPECT_EQ(never.outcome(), Outcome::NotSent);
        EXPECT_EQ(never.text().rfind("the file a.bin: no thread for it: ", 0), 0u) << never.text();
    }
    const auto sent = file.send(); // nothing of the other one is in the way
    EXPECT_TRUE(sent) << sent.text();
}

TEST(SendingAFile, InChunksOfItsOwnSize) {
    File file;
    SendOptions options = named();
    options.chunk = 2500;
    const auto sent = file.send(options);
    ASSERT_TRUE(sent) << sent.text();
    EXPECT_EQ(sent->chunks, 2u);
}
