// Being told by the host: changes, keys, messages, the link's state.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Client.h>

#include "PlayedHost.h"
#include "QuickOptions.h"
#include "support/Bytes.h"
#include "support/LinkThreads.h"
#include "support/LogCapture.h"
#include "support/MustEnd.h"
#include "support/ProcessWatch.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;
using Reaction = PlayedHost::Reaction;

/// What was told, as text, in order.
class Told {
public:
    void add(const std::string& what) {
        const std::lock_guard lock(mutex);
        all.push_back(what);
        grown.notify_all();
    }
    /// Waits for so many; gives those that came.
    std::vector<std::string> take(size_t count) {
        std::unique_lock lock(mutex);
        if (!grown.wait_for(lock, 20s, [&] { return all.size() >= count; })) ADD_FAILURE() << "too little was told";
        return std::exchange(all, {});
    }
    size_t size() const {
        const std::lock_guard lock(mutex);
        return all.size();
    }
    std::function<void(const Change&)> changes() {
        return [this](const Change& change) {
            add(change.state.name() + "=" + change.value.print() + (change.wasRead ? " read" : "") +
                (change.missed > 0 ? " missed " + std::to_string(change.missed) : ""));
        };
    }

private:
    mutable std::mutex mutex; // guards `all`
    std::condition_variable grown;
    std::vector<std::string> all;
};

using Texts = std::vector<std::string>;

ByteArray volumeIs(int value) {
    ByteArray message = bytes("04 00 01 09 00 CC 00");
    message.back() = static_cast<unsigned char>(value);
    return message;
}

TEST(ClientSubscriptions, TellWhatIsHeldAndWhatChanges) {
    PlayedHost host;
    Client client(host.wire(), quick());
    Told told;
    const Subscription changes = client.subscribe({STA_PlayerVolume}, told.changes());
    EXPECT_EQ(changes.established(20s).text(), "");
    EXPECT_EQ(told.take(1), Texts{"PlayerVolume=30 read"});
    EXPECT_EQ(client.set(STA_PlayerVolume, 31).text(), "");
    EXPECT_EQ(told.take(1), Texts{"PlayerVolume=31"});
    EXPECT_EQ(*changes.last("PlayerVolume"), Value(31));
    EXPECT_FALSE(changes.last(STA_PlayerMute));
    EXPECT_FALSE(changes.last("nonsense"));
    EXPECT_EQ(changes.missed(), 0U);
}

TEST(ClientSubscriptions, MayWriteFromTheirCallback) {
    PlayedHost host;
    Client client(host.wire(), quick());
    std::promise<std::string> done;
    const Subscription changes = client.subscribe({STA_PlayerVolume}, [&](const Change& change) {
        if (change.value == Value(50)) done.set_value(client.set(STA_PlayerMute, 1).text());
    });
    EXPECT_TRUE(client.set(STA_PlayerVolume, 50));
    auto result = done.get_future();
    mustEnd(result, "the set in the callback");
    EXPECT_EQ(result.get(), "");
    EXPECT_EQ(*client.get(STA_PlayerMute), Value(1));
}

TEST(ClientSubscriptions, CostOneSubscriptionOnTheWire) {
    PlayedHost host;
    Client client(host.wire(), quick());
    Told first;
    Told second;
    Subscription one = client.subscribe({STA_PlayerVolume}, first.changes());
    EXPECT_TRUE(one.established(20s));
    Subscription two = client.subscribe({STA_PlayerVolume}, second.changes());
    EXPECT_EQ(second.take(1), Texts{"PlayerVolume=30 read"});
    EXPECT_EQ(host.count(MSG_SubscribeState), 1U);
    one.end();
    EXPECT_EQ(one.established(20s).outcome(), Outcome::Cancelled);
    EXPECT_FALSE(one.last(STA_PlayerVolume));
    EXPECT_EQ(one.missed(), 0U);
    EXPECT_EQ(host.count(MSG_UnsubscribeState), 0U);
    two = Subscription();
    mustBecomeTrue([&] { return host.count(MSG_UnsubscribeState) == 1; }, "unsubscribed");
    two.end();
}

TEST(ClientSubscriptions, AreMovedWithTheirHandle) {
    PlayedHost host;
    Client client(host.wire(), quick());
    Told told;
    Subscription one = client.subscribe({STA_PlayerVolume}, told.changes());
    Subscription two = std::move(one);
    Subscription& same = two;
    two = std::move(same);
    EXPECT_TRUE(two.established(20s));
    host.say(volumeIs(7));
    EXPECT_EQ(told.take(2).back(), "PlayerVolume=7");
}

TEST(ClientSubscriptions, WithASlowCallbackDropTheOldestAndDelayNobodyElse) {
    PlayedHost host;
    Client client(host.wire(), quick());
    std::promise<void> inside;
    std::promise<void> leave;
    auto mayLeave = leave.get_future().share();
    Told slow;
    Told quickly;
    Told latest;
    const Subscription one = client.subscribe(
        {STA_PlayerVolume},
        [&, first = true](const Change& change) mutable {
            if (std::exchange(first, false)) {
                inside.set_value();
                mayLeave.wait();
            }
            slow.changes()(change);
        },
        Keep::newest(2));
    auto isInside = inside.get_future();
    mustEnd(isInside, "the way into the callback");
    const Subscription two = client.subscribe({STA_PlayerVolume}, quickly.changes());
    EXPECT_EQ(quickly.take(1), Texts{"PlayerVolume=30 read"});
    for (int i = 1; i <= 5; ++i) host.say(volumeIs(i));
    EXPECT_EQ(quickly.take(5).back(), "PlayerVolume=5");
    leave.set_value();
    EXPECT_EQ(slow.take(3), (Texts{"PlayerVolume=30 read", "PlayerVolume=4 missed 3", "PlayerVolume=5"}));
    EXPECT_EQ(one.missed(), 3U);
    const Subscription three = client.subscribe({STA_PlayerVolume}, latest.changes(), Keep::latest());
    EXPECT_EQ(latest.take(1), Texts{"PlayerVolume=5 read"});
}

namespace {

// By a test and a callback's thread, which may leave it last.
struct Shared {
    std::promise<pid_t> ended; // on which thread
    std::mutex mutex;
};

void mustGo(pid_t thread) {
    mustBecomeTrue([thread] { return threadIds().count(thread) == 0; }, "its thread has ended");
}

} // namespace

// Its thread has ended before the next subscription comes, which finds it over: it is let go there, by another thread.
TEST(ClientSubscriptions, CanBeEndedByTheirCallback) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    const auto shared = std::make_shared<Shared>();
    Subscription changes;
    {
        const std::lock_guard lock(shared->mutex);
        changes = client.subscribe({STA_PlayerVolume}, [&changes, shared](const Change&) {
            const std::lock_guard inner(shared->mutex);
            changes.end();
            shared->ended.set_value(currentThread());
        });
    }
    auto done = shared->ended.get_future();
    mustEnd(done, "the callback");
    mustGo(done.get());
    Told told;
    const Subscription next = client.subscribe({STA_PlayerVolume}, told.changes());
    EXPECT_TRUE(next.established(20s));
    told.take(1);
}

// The thread of the callback is then the last that knows of the subscription.
TEST(ClientSubscriptions, MayCloseTheirClientAndEnd) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    const auto shared = std::make_shared<Shared>();
    Subscription changes;
    {
        const std::lock_guard lock(shared->mutex);
        changes = client.subscribe({STA_PlayerVolume}, [&client, &changes, shared](const Change&) {
            const std::lock_guard inner(shared->mutex);
            client.close();
            changes.end();
            shared->ended.set_value(currentThread());
        });
    }
    auto done = shared->ended.get_future();
    mustEnd(done, "the callback");
    mustGo(done.get());
    EXPECT_EQ(client.linkState(), LinkState::Closed);
}

TEST(ClientSubscriptions, OfWhatIsNoStateAreNotAskedFor) {
    PlayedHost host;
    Client client(host.wire(), quick());
    EXPECT_EQ(client.subscribe({"Volme"}, [](const Change&) {}).established(20s).text(),
              "subscribe: there is no state named 'Volme'; docs/vocabulary.md lists the names");
    EXPECT_EQ(client.subscribe({}, [](const Change&) {}).established(20s).outcome(), Outcome::BadArgument);
    EXPECT_EQ(client.subscribe({9}, nullptr).established(20s).text(), "subscribe: there is no callback to be told");
    EXPECT_EQ(host.count(MSG_SubscribeState), 0U);
}

TEST(ClientSubscriptions, TellThatTheHostRefusesThem) {
    PlayedHost host;
    host.does([&host](const ByteArray& message) {
        if (HostLinkMessage::messageId(message) == MSG_SubscribeState) return Reaction{Accepted, {bytes("00 80 00")}};
        return Reaction{Accepted, host.simulated(message)};
    });
    Client client(host.wire(), quick());
    Told told;
    const Subscription changes = client.subscribe({STA_PlayerVolume, STA_PlayerMute}, told.changes());
    EXPECT_EQ(changes.established(20s).outcome(), Outcome::Unsupported);
    EXPECT_TRUE(client.waitUntilUp(20s));
}

TEST(ClientSubscriptions, AreAskedForAgainUntilTheHostConfirms) {
    PlayedHost host;
    Options options = quick();
    options.answerTime = 100ms;
    options.sendings = 1;
    Client client(host.wire(), options);
    ASSERT_TRUE(client.waitUntilUp(20s));
    std::atomic<bool> mayConfirm{false};
    host.does([&host, &mayConfirm, count = 0](const ByteArray& message) mutable {
        if (HostLinkMessage::messageId(message) == MSG_SubscribeState && (++count < 3 || !mayConfirm))
            return Reaction{};
        return Reaction{Accepted, host.simulated(message)};
    });
    Told told;
    const Subscription changes = client.subscribe({STA_PlayerVolume}, told.changes());
    EXPECT_EQ(changes.established(1ms).outcome(), Outcome::Unanswered);
    mayConfirm = true;
    EXPECT_EQ(changes.established(20s).text(), "");
    EXPECT_GE(host.count(MSG_SubscribeState), 3U); // more on a machine on which answers come late
}

TEST(ClientSubscriptions, OutliveTheirClient) {
    PlayedHost host;
    Told told;
    Subscription changes;
    Listening keys;
    {
        Client client(host.wire(), quick());
        changes = client.subscribe({STA_PlayerVolume}, told.changes());
        keys = client.onInputEvent([](const InputEvent&) {});
        EXPECT_TRUE(changes.established(20s));
    }
    EXPECT_EQ(changes.established(20s).outcome(), Outcome::Cancelled);
    changes.end();
    keys.end();
}

TEST(ClientListening, TellsKeysAndMessages) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    Told keys;
    Told messages;
    Listening listening = client.onInputEvent(
        [&](const InputEvent& event) { keys.add(std::to_string(event.event) + " " + event.key.print()); });
    const Listening raw =
        client.onMessage(MSG_TcpTunneling, [&](const ByteArray& message) { messages.add(hex(message)); });
    host.say(bytes("06 00 02 01 00 CD 05 00 00 00 CC 06"));
    EXPECT_EQ(keys.take(2), (Texts{"1 5", "0 6"}));
    host.say(bytes("06 00 01 01 00")); // not whole
    host.say(bytes("08 00 01 00 00 CC 01"));
    EXPECT_EQ(messages.take(1), Texts{"08 00 01 00 00 CC 01"});
    Listening other = std::move(listening);
    Listening& same = other;
    other = std::move(same);
    other = Listening();
    host.say(bytes("06 00 01 01 00 CC 05"));
    host.say(bytes("08 00 01 00 00 CC 02"));
    messages.take(1);
    EXPECT_EQ(keys.size(), 0U);
}

TEST(ClientListening, IsEndedByItsOwnCallbackAndWaitedForByOthers) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    std::promise<void> ended;
    Listening one;
    std::mutex mutex;
    {
        const std::lock_guard lock(mutex);
        one = client.onMessage(MSG_InputEvent, [&](const ByteArray&) {
            const std::lock_guard inner(mutex);
            one.end();
            ended.set_value();
        });
    }
    host.say(bytes("06 00 01 01 00 CC 05"));
    auto done = ended.get_future();
    mustEnd(done, "the callback");

    std::promise<void> inside;
    std::atomic<bool> left{false};
    Listening two = client.onMessage(MSG_InputEvent, [&](const ByteArray&) {
        inside.set_value();
        for (int i = 0; i < 1000; ++i) std::this_thread::yield();
        left = true;
    });
    host.say(bytes("06 00 01 01 00 CC 06"));
    inside.get_future().wait();
    two.end();
    EXPECT_TRUE(left);
}

TEST(ClientLog, GoesToItsLoggerAndToTheProgram) {
    PlayedHost host;
    const LogCapture log("HostLinkClient");
    Told lines;
    Options options = quick();
    options.log = [&](LogLevel level, const std::string& line) {
        lines.add(std::to_string(static_cast<int>(level)) + " " + line);
    };
    Client client(host.wire(), options);
    EXPECT_EQ(lines.take(1), Texts{"1 played: the host answers"});
    EXPECT_TRUE(log.contains(log4cplus::INFO_LOG_LEVEL, "played: the host answers"));
}

} // namespace
