// Callbacks in the program's own loop.
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>

#include <gtest/gtest.h>

#include <hostlinkclient/Client.h>

#include "PlayedHost.h"
#include "support/Bytes.h"
#include "support/MustEnd.h"
#include "support/ProcessCounts.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

Options optionsWith(const Events& events) {
    Options options;
    options.deadline = 20s;
    options.answerTime = 10s;
    options.events = events;
    return options;
}

bool isReadable(const Events& events, std::chrono::milliseconds within = 0ms) {
    pollfd polled{events.descriptor(), POLLIN, 0};
    return ::poll(&polled, 1, static_cast<int>(within.count())) == 1 && polled.revents == POLLIN;
}

/// The program's loop, until something is true.
void loopUntil(const Events& events, const std::function<bool()>& over) {
    while (!over()) {
        ASSERT_TRUE(isReadable(events, 20s)) << "nothing comes";
        EXPECT_GT(events.dispatch(), 0U);
    }
}

ByteArray volumeIs(int value) {
    ByteArray message = bytes("04 00 01 09 00 CC 00");
    message.back() = static_cast<unsigned char>(value);
    return message;
}

/// Puts a text for each change.
std::function<void(const Change&)> into(Texts& texts) {
    return [&texts](const Change& change) {
        texts.push_back(change.value.print() + (change.missed > 0 ? " missed " + std::to_string(change.missed) : ""));
    };
}

/// What the host says to all of this has been taken by the client, so that what follows from it waits in the loop.
void letComeIn(PlayedHost& host, Client& client, const std::vector<int>& volumes) {
    for (const int volume : volumes) host.say(volumeIs(volume));
    EXPECT_TRUE(client.get(STA_PlayerMute)); // answered behind them
}

TEST(ClientEvents, AreReadableAsLongAsCallbacksWait) {
    PlayedHost host;
    const Events events;
    EXPECT_FALSE(isReadable(events));
    EXPECT_EQ(events.dispatch(), 0U);
    Client client(host.wire(), optionsWith(events));
    std::optional<Result<Value>> result;
    client.getAsync(STA_PlayerVolume, [&](Result<Value> got) { result = std::move(got); });
    ASSERT_TRUE(isReadable(events, 20s));
    EXPECT_FALSE(result);
    EXPECT_TRUE(isReadable(events)); // looking takes nothing away
    EXPECT_EQ(events.dispatch(), 1U);
    ASSERT_TRUE(result);
    EXPECT_EQ(**result, Value(30));
    EXPECT_FALSE(isReadable(events));
    EXPECT_EQ(events.dispatch(), 0U);
}

TEST(ClientEvents, CopiesAreOneQueue) {
    const Events events;
    Events other;
    EXPECT_NE(other.descriptor(), events.descriptor());
    other = events;
    EXPECT_EQ(other.descriptor(), events.descriptor());
}

TEST(ClientEvents, BringEveryCallbackOntoTheLoopsThread) {
    PlayedHost host;
    const Events events;
    Client client(host.wire(), optionsWith(events));
    Texts seen;
    const auto here = std::this_thread::get_id();
    const auto note = [&](const std::string& what) {
        EXPECT_EQ(std::this_thread::get_id(), here) << what;
        seen.push_back(what);
    };
    bool isUp = false;
    const Listening link = client.onLink([&](LinkState state, const std::string&) { isUp = state == LinkState::Up; });
    loopUntil(events, [&] { return isUp; });

    const Subscription changes =
        client.subscribe({STA_PlayerVolume}, [&](const Change& change) { note("volume " + change.value.print()); });
    loopUntil(events, [&] { return seen.size() == 1; });
    const Listening keys = client.onInputEvent([&](const InputEvent& key) { note("key " + key.key.print()); });
    const Listening other = client.onMessage(MSG_SetLedApi, [&](const ByteArray&) { note("message"); });
    host.say(volumeIs(31));
    host.say(bytes("06 00 01 01 00 CC 05"));
    host.say(bytes("09 00 00"));
    loopUntil(events, [&] { return seen.size() == 4; });
    client.setAsync(STA_PlayerMute, 1, [&](const Result<void>& set) { note("set " + set.text()); });
    loopUntil(events, [&] { return seen.size() == 5; });
    EXPECT_EQ(seen, (Texts{"volume 30", "volume 31", "key 5", "message", "set "}));
}

TEST(ClientEvents, MayAskAndWaitInACallback) {
    PlayedHost host;
    const Events events;
    Client client(host.wire(), optionsWith(events));
    std::string text;
    const Subscription changes = client.subscribe({STA_PlayerVolume}, [&](const Change& change) {
        if (change.value == Value(50)) text = "set: " + client.set(STA_PlayerMute, 1).text();
    });
    EXPECT_TRUE(client.set(STA_PlayerVolume, 50));
    loopUntil(events, [&] { return !text.empty(); });
    EXPECT_EQ(text, "set: ");
    EXPECT_EQ(*client.get(STA_PlayerMute), Value(1));
}

TEST(ClientEvents, KeepWhatTheSubscriptionSays) {
    PlayedHost host;
    const Events events;
    Client client(host.wire(), optionsWith(events));
    Texts all;
    Texts newest;
    Texts latest;
    const Subscription one = client.subscribe({STA_PlayerVolume}, into(all));
    const Subscription two = client.subscribe({STA_PlayerVolume}, into(newest), Keep::newest(2));
    const Subscription three = client.subscribe({STA_PlayerVolume}, into(latest), Keep::latest());
    EXPECT_TRUE(one.established(20s));
    loopUntil(events, [&] { return all.size() == 1 && newest.size() == 1 && latest.size() == 1; });
    letComeIn(host, client, {1, 2, 3, 4, 5});
    loopUntil(events, [&] { return all.size() == 6 && newest.size() == 3 && latest.size() == 2; });
    EXPECT_EQ(all, (Texts{"30", "1", "2", "3", "4", "5"}));
    EXPECT_EQ(newest, (Texts{"30", "4 missed 3", "5"}));
    EXPECT_EQ(latest, (Texts{"30", "5 missed 4"}));
    EXPECT_EQ(two.missed(), 3U);
    EXPECT_FALSE(isReadable(events));
}

TEST(ClientEvents, CallNothingOfWhatHasEnded) {
    PlayedHost host;
    const Events events;
    auto client = std::make_unique<Client>(host.wire(), optionsWith(events));
    Texts told;
    Texts others;
    Subscription changes = client->subscribe({STA_PlayerVolume}, into(told));
    const Subscription more = client->subscribe({STA_PlayerVolume}, into(others));
    Listening keys = client->onInputEvent([&](const InputEvent&) { told.emplace_back("key"); });
    EXPECT_TRUE(changes.established(20s));
    loopUntil(events, [&] { return told.size() == 1 && others.size() == 1; });
    host.say(bytes("06 00 01 01 00 CC 05"));
    letComeIn(host, *client, {31});
    changes.end();
    keys.end();
    loopUntil(events, [&] { return others.size() == 2; });
    events.dispatch();
    EXPECT_EQ(told, Texts{"30"});

    client->getAsync(STA_PlayerVolume, [&](const Result<Value>&) { told.emplace_back("got"); });
    letComeIn(host, *client, {32});
    client.reset(); // which tells results itself, and nothing else
    EXPECT_EQ(told, (Texts{"30", "got"}));
    events.dispatch();
    EXPECT_EQ(told, (Texts{"30", "got"}));
    EXPECT_EQ(others.size(), 2U);
}

TEST(ClientEvents, MayEndEverythingInACallback) {
    PlayedHost host;
    std::optional<Events> events{std::in_place};
    auto client = std::make_unique<Client>(host.wire(), optionsWith(*events));
    Subscription changes;
    bool isOver = false;
    changes = client->subscribe({STA_PlayerVolume}, [&](const Change&) {
        changes.end();
        client.reset();
        events.reset();
        isOver = true;
    });
    ASSERT_TRUE(isReadable(*events, 20s));
    const Events again = *events;
    while (!isOver) again.dispatch();
    EXPECT_EQ(again.dispatch(), 0U);
}

TEST(ClientEvents, LetTheirClientGoOnWithoutThem) {
    PlayedHost host;
    std::optional<Events> events{std::in_place};
    Client client(host.wire(), optionsWith(*events));
    Texts told;
    const Subscription changes = client.subscribe({STA_PlayerVolume}, into(told));
    events.reset();
    EXPECT_TRUE(changes.established(20s));
    EXPECT_TRUE(client.set(STA_PlayerVolume, 31));
    EXPECT_EQ(told, Texts{});
}

TEST(ClientEvents, LetOutWhatACallbackThrows) {
    PlayedHost host;
    const Events events;
    Client client(host.wire(), optionsWith(events));
    Texts told;
    bool isBad = true;
    const auto note = [&](const Change& change) {
        told.push_back(change.value.print());
        if (std::exchange(isBad, false)) throw std::runtime_error("no");
    };
    Subscription changes = client.subscribe({STA_PlayerVolume}, note);
    EXPECT_TRUE(changes.established(20s));
    letComeIn(host, client, {31});
    EXPECT_THROW(loopUntil(events, [&] { return told.size() > 1; }), std::runtime_error);
    loopUntil(events, [&] { return told.size() == 2; });
    EXPECT_EQ(told, (Texts{"30", "31"}));

    bool isFirst = true;
    Listening keys = client.onInputEvent([&](const InputEvent&) {
        if (std::exchange(isFirst, false)) throw std::runtime_error("no");
        told.emplace_back("key");
    });
    for (int i = 0; i < 2; ++i) host.say(bytes("06 00 01 01 00 CC 05"));
    EXPECT_THROW(loopUntil(events, [&] { return told.size() > 2; }), std::runtime_error);
    keys.end(); // nothing of it is thought to be running
    changes.end();
}

TEST(ClientEvents, AreDispatchedByOneThreadAtATime) {
    PlayedHost host;
    const Events events;
    Client client(host.wire(), optionsWith(events));
    std::promise<void> inside;
    std::promise<void> leave;
    auto left = leave.get_future();
    std::atomic<bool> isThrough{false};
    Subscription changes = client.subscribe({STA_PlayerVolume}, [&](const Change&) {
        EXPECT_EQ(events.dispatch(), 0U); // nor again by the same
        inside.set_value();
        left.wait();
        isThrough = true;
    });
    ASSERT_TRUE(isReadable(events, 20s));
    std::thread loop([&] { EXPECT_EQ(events.dispatch(), 1U); });
    auto begun = inside.get_future();
    mustEnd(begun, "the callback's beginning");
    client.getAsync(STA_PlayerMute, [](const Result<Value>&) {});
    ASSERT_TRUE(isReadable(events, 20s));
    EXPECT_EQ(events.dispatch(), 0U);

    // The end of a subscription waits for its callback on the other thread, and so does the client's.
    auto ended = std::async(std::launch::async, [&] { changes.end(); });
    EXPECT_FALSE(isThrough);
    leave.set_value();
    mustEnd(ended, "the end of the subscription");
    EXPECT_TRUE(isThrough);
    loop.join();
}

TEST(ClientEvents, CloseTheClientAfterTheCallbackOfAnotherThread) {
    PlayedHost host;
    const Events events;
    Client client(host.wire(), optionsWith(events));
    std::promise<void> inside;
    std::atomic<bool> isThrough{false};
    client.getAsync(STA_PlayerVolume, [&](const Result<Value>&) {
        inside.set_value();
        for (int i = 0; i < 1000; ++i) std::this_thread::yield();
        isThrough = true;
    });
    ASSERT_TRUE(isReadable(events, 20s));
    std::thread loop([&] { events.dispatch(); });
    auto begun = inside.get_future();
    mustEnd(begun, "the callback's beginning");
    client.close();
    EXPECT_TRUE(isThrough);
    loop.join();
}

TEST(ClientEvents, ServeSeveralClientsWithoutAThreadForEachSubscription) {
    PlayedHost first;
    PlayedHost second;
    const Events events;
    Client one(first.wire(), optionsWith(events));
    Client two(second.wire(), optionsWith(events));
    ASSERT_TRUE(one.waitUntilUp(20s));
    ASSERT_TRUE(two.waitUntilUp(20s));
    const long before = threadCount();
    Texts told;
    std::vector<Subscription> changes;
    for (Client* client : {&one, &two, &one, &two})
        changes.push_back(client->subscribe({STA_PlayerVolume}, into(told)));
    loopUntil(events, [&] { return told.size() == 4; });
    EXPECT_TRUE(waitUntilNoMoreThreadsThan(before));
    EXPECT_EQ(told, (Texts{"30", "30", "30", "30"}));
}

} // namespace
