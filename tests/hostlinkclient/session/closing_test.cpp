// What becomes of callbacks when a client is closed: each is called once, and by then.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>

#include <gtest/gtest.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Client.h>

#include "PlayedHost.h"
#include "QuickOptions.h"
#include "support/MustEnd.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;
using Reaction = PlayedHost::Reaction;

/// A host that takes every set and answers none.
void leaveSetsUnanswered(PlayedHost& host) {
    host.does([&host](const ByteArray& message) {
        if (HostLinkMessage::messageId(message) == MSG_SetState) return Reaction{};
        return Reaction{Accepted, host.simulated(message)};
    });
}

/// What callbacks were told, in order.
class Told {
public:
    template <typename T> std::function<void(Result<T>)> note() {
        return [this](const Result<T>& result) { add(nameOf(result.outcome())); };
    }
    void add(const std::string& text) {
        const std::lock_guard lock(mutex);
        texts.push_back(text);
    }
    std::vector<std::string> all() const {
        const std::lock_guard lock(mutex);
        return texts;
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> texts;
};

using Texts = std::vector<std::string>;

TEST(ClientClosing, TellsEveryCallbackOfARequestUnderWay) {
    PlayedHost host;
    leaveSetsUnanswered(host);
    Told told;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    for (int i = 0; i < 3; ++i) client.setAsync(STA_PlayerVolume, i, told.note<void>());
    client.setAsync(STA_PlayerMute, 1, told.note<void>(), Confirm);
    client.setManyAsync({{STA_PowerState, 1}}, told.note<void>());
    client.close();
    EXPECT_EQ(told.all(), Texts(5, "Cancelled"));
    client.close();
    EXPECT_EQ(told.all().size(), 5U);
}

TEST(ClientClosing, TellsThoseOfAClientThatWasNeverUp) {
    PlayedHost host;
    host.refuseLinks(true);
    Told told;
    {
        Options options = quick();
        options.whileDown = WhileDown::Wait;
        Client client(host.wire(), options);
        client.getAsync(STA_PlayerVolume, told.note<Value>());
        client.getManyAsync({STA_PlayerVolume, STA_PlayerMute}, told.note<std::vector<StateValue>>());
    }
    EXPECT_EQ(told.all(), Texts(2, "Cancelled"));
}

// The first callback is held up, so that the results of the others wait behind it when the client is closed.
TEST(ClientClosing, TellsWhatHadComeAlready) {
    PlayedHost host;
    Told told;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    std::promise<void> inside;
    std::promise<void> on;
    auto mayGoOn = on.get_future();
    client.getAsync(STA_PlayerVolume, [&](const Result<Value>&) {
        inside.set_value();
        mayGoOn.wait();
    });
    auto isInside = inside.get_future();
    mustEnd(isInside, "the first callback's beginning");
    client.getAsync(STA_PlayerVolume, told.note<Value>());
    client.getAsync("Volme", told.note<Value>());
    EXPECT_TRUE(client.get(STA_PlayerVolume)); // answered behind the other
    auto closing = std::async(std::launch::async, [&] { client.close(); });
    mustBecomeTrue([&] { return client.linkState() == LinkState::Closed; }, "closing");
    on.set_value();
    mustEnd(closing, "close");
    Texts all = told.all();
    std::sort(all.begin(), all.end()); // one was not sent at all
    EXPECT_EQ(all, (Texts{"BadArgument", "Done"}));
}

TEST(ClientClosing, MayComeFromTheCallbackOfARequest) {
    PlayedHost host;
    leaveSetsUnanswered(host);
    Told told;
    {
        Client client(host.wire(), quick());
        ASSERT_TRUE(client.waitUntilUp(20s));
        client.setAsync(STA_PlayerVolume, 1, told.note<void>());
        std::promise<void> through;
        client.getAsync(STA_PlayerMute, [&](const Result<Value>& result) {
            told.add(nameOf(result.outcome()));
            client.close();
            told.add("closed"); // what was under way has been told before
            client.close();     // as it is
            through.set_value();
        });
        auto ended = through.get_future();
        mustEnd(ended, "the callback");
        client.close();
    }
    EXPECT_EQ(told.all(), (Texts{"Done", "Cancelled", "closed"}));
}

TEST(ClientClosing, MayComeFromTwoCallbacksAtOnce) {
    for (int round = 0; round < 5; ++round) {
        PlayedHost host;
        Client client(host.wire(), quick());
        ASSERT_TRUE(client.waitUntilUp(20s));
        std::atomic<int> through{0};
        const auto close = [&] {
            client.close();
            ++through;
        };
        const Subscription changes = client.subscribe({STA_PlayerVolume}, [&](const Change&) { close(); });
        client.getAsync(STA_PlayerMute, [&](const Result<Value>&) { close(); });
        mustBecomeTrue([&] { return through >= 1; }, "one has closed it");
        client.close();
        EXPECT_EQ(client.linkState(), LinkState::Closed);
    }
}

TEST(ClientClosing, TellsALaterCallbackAtOnce) {
    PlayedHost host;
    Client client(host.wire(), quick());
    client.close();
    Told told;
    std::thread::id on;
    client.getAsync(STA_PlayerVolume, [&](const Result<Value>& result) {
        on = std::this_thread::get_id();
        told.add(nameOf(result.outcome()));
    });
    EXPECT_EQ(on, std::this_thread::get_id());
    client.setAsync(STA_PlayerVolume, 1, told.note<void>(), Confirm);
    EXPECT_EQ(told.all(), (Texts{"Cancelled", "Cancelled"}));
}

// A program that asks again whatever it is told: it ends with its client.
struct Poller {
    Client& client;
    std::atomic<int> answers{0};
    std::atomic<int> cancelled{0};

    void ask() {
        client.getAsync(STA_PlayerVolume, [this](const Result<Value>& result) {
            ++(result ? answers : cancelled);
            ask();
        });
    }
};

TEST(ClientClosing, EndsAProgramThatAsksAgainWhateverComes) {
    PlayedHost host;
    Client client(host.wire(), quick());
    Poller poller{client};
    poller.ask();
    mustBecomeTrue([&] { return poller.answers > 3; }, "answers");
    client.close();
    EXPECT_GE(poller.cancelled, 1); // that under way, and the next, which came too late
    EXPECT_LE(poller.cancelled, 2);
}

TEST(ClientClosing, TellsEachOnceWhateverThreadsAskMeanwhile) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    constexpr int threads = 3;
    constexpr int requests = 200;
    std::vector<std::atomic<int>> told(threads * requests);
    std::vector<std::thread> askers;
    std::atomic<int> asked{0};
    askers.reserve(threads);
    for (int thread = 0; thread < threads; ++thread)
        askers.emplace_back([&, thread] {
            for (int i = 0; i < requests; ++i) {
                auto& once = told[static_cast<size_t>(thread * requests + i)];
                client.getAsync(STA_PlayerVolume, [&once](const Result<Value>&) { ++once; });
                ++asked;
            }
        });
    mustBecomeTrue([&] { return asked > requests; }, "some have been asked");
    client.close();
    for (std::thread& asker : askers) asker.join();
    for (size_t i = 0; i < told.size(); ++i) EXPECT_EQ(told[i], 1) << i;
}

Options inLoop(const Events& events) {
    Options options = quick();
    options.events = events;
    return options;
}

TEST(ClientClosing, TellsCallbacksOfALoopItself) {
    PlayedHost host;
    leaveSetsUnanswered(host);
    const Events events;
    Told told;
    Client client(host.wire(), inLoop(events));
    ASSERT_TRUE(client.waitUntilUp(20s));
    const Listening link = client.onLink([&](LinkState, const std::string&) { told.add("link"); });
    client.getAsync(STA_PlayerVolume, told.note<Value>());
    EXPECT_TRUE(client.get(STA_PlayerVolume)); // the other waits in the loop by now
    client.setAsync(STA_PlayerVolume, 1, told.note<void>());
    EXPECT_EQ(told.all(), Texts());
    client.close();
    EXPECT_EQ(told.all(), (Texts{"Done", "Cancelled"})); // and nobody is told of the link any more
    events.dispatch();
    EXPECT_EQ(told.all().size(), 2U);
}

TEST(ClientClosing, MayComeFromACallbackInALoopWhileAnotherThreadCloses) {
    PlayedHost host;
    const Events events;
    Client client(host.wire(), inLoop(events));
    ASSERT_TRUE(client.waitUntilUp(20s));
    std::promise<void> inside;
    client.getAsync(STA_PlayerVolume, [&](const Result<Value>&) {
        inside.set_value();
        mustBecomeTrue([&] { return client.linkState() == LinkState::Closed; }, "the other closes");
        client.close();
    });
    pollfd readable{events.descriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&readable, 1, 20000), 1);
    auto loop = std::async(std::launch::async, [&] { events.dispatch(); });
    auto isInside = inside.get_future();
    mustEnd(isInside, "the callback's beginning");
    client.close();
    mustEnd(loop, "the loop's turn");
}

} // namespace
