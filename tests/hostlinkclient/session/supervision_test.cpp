// Links that go and come again, and how a client ends.
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Client.h>
#include <hostlinkclient/machines/Questions.h>
#include <hostlinkclient/session/Session.h>

#include "PlayedHost.h"
#include "QuickOptions.h"
#include "support/Bytes.h"
#include "support/MustEnd.h"
#include "support/ProcessCounts.h"
#include "support/Pty.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;
using Reaction = PlayedHost::Reaction;

bool isState(const Client& client, LinkState state) {
    return client.linkState() == state;
}

TEST(ClientSupervision, MakesANewLinkWhenTheHostFallsSilent) {
    PlayedHost host;
    Options options = quick();
    options.answerTime = 100ms;
    Client client(host.wire(), options);
    std::mutex mutex;
    std::vector<std::string> states;
    const Listening link = client.onLink([&](LinkState state, const std::string& why) {
        const std::lock_guard lock(mutex);
        states.push_back(std::to_string(static_cast<int>(state)) + " " + why);
    });
    std::vector<int> told;
    const Subscription changes = client.subscribe({STA_PlayerVolume}, [&](const Change& change) {
        const std::lock_guard lock(mutex);
        told.push_back(*change.value.to<int>());
    });
    ASSERT_TRUE(changes.established(20s));
    host.does([](const ByteArray&) { return Reaction{NoResponse}; });
    for (int i = 0; i < 5; ++i) client.set(0x4000 + i, i);
    mustBecomeTrue([&] { return host.linksMade() > 3; }, "tried again and again");
    const auto down = client.set(STA_PlayerMute, 1);
    EXPECT_EQ(down.outcome(), Outcome::LinkDown) << down.text();
    EXPECT_FALSE(client.waitUntilUp(1ms));
    host.host().setState(STA_PlayerVolume, 66);
    host.does([&host](const ByteArray& message) { return Reaction{Accepted, host.simulated(message)}; });
    EXPECT_TRUE(client.waitUntilUp(20s));
    EXPECT_TRUE(changes.established(20s));
    EXPECT_EQ(client.set(STA_PlayerVolume, 67, Confirm).text(), ""); // again on a machine on which answers come late
    mustBecomeTrue(
        [&] {
            const std::lock_guard lock(mutex);
            return told.size() == 3;
        },
        "told");
    EXPECT_EQ(told, (std::vector<int>{30, 66, 67}));
    mustBecomeTrue(
        [&] {
            const std::lock_guard lock(mutex);
            return states.size() >= 3 && states.back() == "1 the host answers";
        },
        "told up");
    EXPECT_GT(sessionOf(client).counters().resynchronisations, 0U);
}

TEST(ClientSupervision, LetsRequestsWaitForTheLinkOrFail) {
    PlayedHost host;
    host.refuseLinks(true);
    Client client(host.wire(), quick());
    mustBecomeTrue([&] { return isState(client, LinkState::Down); }, "down");
    const auto failed = client.get(STA_PlayerVolume);
    EXPECT_EQ(failed.outcome(), Outcome::LinkDown);
    EXPECT_FALSE(failed.mayHaveBeenExecuted());
    EXPECT_EQ(failed.text(), "get PlayerVolume: there is no link to the host (cannot open played; the log of the link "
                             "says why), so the host has not got it. The client goes on trying; ask again when it is "
                             "up, or let the request wait");
    EXPECT_EQ(client.set(STA_PlayerVolume, 1, Confirm).outcome(), Outcome::LinkDown);
    const auto late = client.get(STA_PlayerVolume, Call().within(20ms).whileDown(WhileDown::Wait));
    EXPECT_EQ(late.outcome(), Outcome::TimedOutBeforeSending);
    auto waiting = client.getAsync(STA_PlayerVolume, Call().whileDown(WhileDown::Wait));
    const Subscription changes = client.subscribe({STA_PlayerVolume}, [](const Change&) {});
    EXPECT_EQ(changes.established(1ms).outcome(), Outcome::LinkDown);
    host.refuseLinks(false);
    EXPECT_EQ(waiting.get().text(), "");
    EXPECT_TRUE(changes.established(20s));
}

TEST(ClientSupervision, TellsWhyThereIsNoLink) {
    Wire nowhere = Spi{"/dev/null", 1000000, 17};
    nowhere = Uart{"/nowhere/at/all", 115200};
    Client none(nowhere, quick());
    mustBecomeTrue([&] { return isState(none, LinkState::Down); }, "down");
    EXPECT_EQ(none.linkText(), "cannot open /nowhere/at/all: No such file or directory");
    Client null(OwnLink{[] { return nullptr; }, "none"}, quick());
    mustBecomeTrue([&] { return isState(null, LinkState::Down); }, "down");
    EXPECT_EQ(null.linkText(), "there is no such link: none");
    Client throwing(
        OwnLink{[]() -> std::unique_ptr<HostLinkPhysicalLayer> { throw std::runtime_error("no memory"); }, "thrower"},
        quick());
    mustBecomeTrue([&] { return isState(throwing, LinkState::Down); }, "down");
    EXPECT_EQ(throwing.linkText(), "cannot open thrower: no memory");
    Client noPort(Uart{"/dev/null", 115200}, quick()); // opens, and is no serial port
    mustBecomeTrue([&] { return isState(noPort, LinkState::Down); }, "down");
    EXPECT_EQ(noPort.linkText(), "cannot open /dev/null; the log of the link says why"); // which is turned off
    Client i2c(I2c{"/nowhere/i2c", 0x42, 17}, quick());
    mustBecomeTrue([&] { return isState(i2c, LinkState::Down); }, "down");
    EXPECT_EQ(i2c.linkText(), "cannot open /nowhere/i2c: No such file or directory");
    Client spi(Spi{"/dev/null", 1000000, 17}, quick());
    mustBecomeTrue([&] { return isState(spi, LinkState::Down); }, "down");
    EXPECT_EQ(spi.linkText(), "cannot open /dev/null; the log of the link says why");
}

TEST(ClientSupervision, IsDownWhenNobodyAnswersTheFirstQuestion) {
    PlayedHost host;
    host.does([](const ByteArray&) { return Reaction{}; });
    Client client(host.wire(), impatient());
    mustBecomeTrue([&] { return isState(client, LinkState::Down); }, "down");
    EXPECT_EQ(client.linkText(), "the host does not answer");
    const Subscription changes = client.subscribe({STA_PlayerVolume}, [](const Change&) {});
    mustBecomeTrue([&] { return host.count(MSG_SubscribeState) > 5; }, "tried again and again");
    EXPECT_EQ(client.linkText(), "the host does not answer");
}

/// Keeps a terminal open, so that it is not taken for hung up while nobody has opened it yet.
class Held {
public:
    explicit Held(const Pty& pty) : fd(::open(pty.slavePath().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() { ::close(fd); }

private:
    const int fd;
};

/// In each state a client can be in, its end waits for none of its times, and leaves no thread and no descriptor. That
/// it takes less than a second is seen elsewhere, where the machine's own delays do not count.
class ClientEnding : public testing::Test {
protected:
    template <typename Body> static void endsSoon(Body body) {
        const long threads = threadCount();
        const long descriptors = descriptorCount();
        for (int round = 0; round < 10; ++round) {
            auto client = body();
            const auto began = std::chrono::steady_clock::now();
            client.reset();
            EXPECT_LT(std::chrono::steady_clock::now() - began, 5s);
        }
        EXPECT_TRUE(waitUntilNoMoreThreadsThan(threads));
        EXPECT_EQ(descriptorCount(), descriptors);
    }
};

TEST_F(ClientEnding, RightAfterItsBeginning) {
    PlayedHost host;
    endsSoon([&] { return std::make_unique<Client>(host.wire()); });
}

TEST_F(ClientEnding, WhenItIsUp) {
    PlayedHost host;
    endsSoon([&] {
        auto client = std::make_unique<Client>(host.wire());
        EXPECT_TRUE(client->waitUntilUp(20s));
        return client;
    });
}

TEST_F(ClientEnding, WhenItIsDown) {
    PlayedHost host;
    host.refuseLinks(true);
    endsSoon([&] {
        auto client = std::make_unique<Client>(host.wire());
        mustBecomeTrue([&] { return isState(*client, LinkState::Down); }, "down");
        return client;
    });
}

TEST_F(ClientEnding, WithRequestsAndSubscriptionsUnderWay) {
    PlayedHost host;
    host.does([&host](const ByteArray& message) {
        if (HostLinkMessage::messageId(message) == MSG_SetState) return Reaction{};
        return Reaction{Accepted, host.simulated(message)};
    });
    std::vector<std::future<Result<void>>> sets;
    std::vector<Subscription> subscriptions;
    endsSoon([&] {
        auto client = std::make_unique<Client>(host.wire(), quick());
        EXPECT_TRUE(client->waitUntilUp(20s));
        sets.push_back(client->setAsync(STA_PlayerVolume, 1));
        sets.push_back(client->setAsync(STA_PlayerVolume, 2));
        subscriptions.push_back(client->subscribe({STA_PlayerVolume}, [](const Change&) {}));
        return client;
    });
    for (auto& set : sets) EXPECT_EQ(set.get().outcome(), Outcome::Cancelled);
}

TEST_F(ClientEnding, WhileAWriterWaitsForTheHostOnASerialPort) {
    Pty pty; // nobody answers on it
    const Held held(pty);
    endsSoon([&] {
        auto client = std::make_unique<Client>(Uart{pty.slavePath(), 115200, 20s});
        EXPECT_EQ(pty.read(15).size(), 15U); // the probe
        return client;
    });
}

TEST_F(ClientEnding, MayComeFromCloseAndLeavesRequestsCancelled) {
    PlayedHost host;
    Client client(host.wire());
    client.close();
    client.close();
    EXPECT_TRUE(isState(client, LinkState::Closed));
    EXPECT_EQ(client.linkText(), "the client was closed");
    EXPECT_EQ(client.get(STA_PlayerVolume).outcome(), Outcome::Cancelled);
    EXPECT_EQ(client.subscribe({9}, [](const Change&) {}).established(20s).outcome(), Outcome::Cancelled);
    EXPECT_FALSE(client.waitUntilUp(20s));
}

TEST(ClientSupervision, AsksANewHostMoreOftenThanARequestIsSent) {
    PlayedHost host;
    host.does([&host, asked = 0](const ByteArray& message) mutable {
        if (++asked < 4) return Reaction{}; // a line on which most is lost
        return Reaction{Accepted, host.simulated(message)};
    });
    Options options = quick();
    options.sendings = 1;
    Client client(host.wire(), options);
    EXPECT_TRUE(client.waitUntilUp(20s));
    EXPECT_EQ(client.statistics().losses, 0U);
    EXPECT_EQ(host.linksMade(), 1);
}

TEST(ClientSupervision, LearnsFromTheKernelThatASerialPortHasGone) {
    auto pty = std::make_unique<Pty>();
    const Held held(*pty);
    Options options = quick();
    options.deadline = 30s;
    options.answerTime = 20s;
    options.sendings = 1;
    // It does not try again: the terminal's name may be that of another one by then, of a program beside this.
    options.firstPause = options.longestPause = std::chrono::hours(1);
    Client client(Uart{pty->slavePath(), 115200, 20s}, options);
    EXPECT_EQ(pty->read(15).size(), 15U); // the probe waits for its acknowledgement
    const std::string path = pty->slavePath();
    pty->close();
    mustBecomeTrue([&] { return isState(client, LinkState::Down); }, "down");
    EXPECT_EQ(client.linkText(), path + " is gone");
}

TEST(ClientSession, TellsOnTheClientsOwnThread) {
    PlayedHost host;
    Client client(host.wire(), quick());
    Session& session = sessionOf(client);
    EXPECT_EQ(session.maxPacketSize(), 64);
    EXPECT_NE(session.newFamily(), session.newFamily());
    std::promise<std::thread::id> own;
    session.post([&] { own.set_value(std::this_thread::get_id()); });
    const std::thread::id thread = own.get_future().get();

    std::promise<bool> up;
    Session::Handle watching = session.watchLink([&, told = false](bool isUp) mutable {
        EXPECT_EQ(std::this_thread::get_id(), thread);
        if (isUp && !std::exchange(told, true)) up.set_value(true);
    });
    up.get_future().wait();
    watching.reset();

    std::promise<ByteArray> heard;
    Session::Handle listening = session.listen(MSG_TcpTunneling, [&](const ByteArray& message) {
        EXPECT_EQ(std::this_thread::get_id(), thread);
        heard.set_value(message);
    });
    host.say(bytes("08 00 01 00 00 CC 01"));
    EXPECT_EQ(heard.get_future().get(), bytes("08 00 01 00 00 CC 01"));
    listening.reset();
    host.say(bytes("08 00 01 00 00 CC 02"));

    std::promise<Matcher::How> answered;
    Question question = getQuestion({9});
    question.deadline = std::chrono::steady_clock::now() + 20s;
    question.answerTime = 10s;
    session.ask(question, [&](const Matcher::End& end) {
        EXPECT_EQ(std::this_thread::get_id(), thread);
        answered.set_value(end.how);
    });
    EXPECT_EQ(answered.get_future().get(), Matcher::How::Answered);

    // The client's thread is held meanwhile: what is let go cannot have been due before.
    std::promise<void> held;
    std::promise<void> goOn;
    session.post([&] {
        held.set_value();
        goOn.get_future().wait();
    });
    held.get_future().wait();
    std::promise<void> later;
    std::atomic<bool> never{false};
    const auto soon = std::chrono::steady_clock::now() + 5ms;
    Session::Handle dropped = session.postAt(soon, [&] { never = true; });
    dropped.reset();
    const Session::Handle timer = session.postAt(soon, [&] { later.set_value(); });
    goOn.set_value();
    later.get_future().wait();
    std::promise<void> called;
    session.callBack([&] {
        client.get(9).orThrow(); // may wait there
        called.set_value();
    });
    called.get_future().wait();
    EXPECT_FALSE(never);
}

} // namespace
