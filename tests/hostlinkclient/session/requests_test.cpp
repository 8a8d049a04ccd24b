// Requests and their outcomes, over a host that the test plays.
#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Client.h>
#include <hostlinkclient/machines/RepeatedPackets.h>
#include <items/Items.h>

#include "PlayedHost.h"
#include "QuickOptions.h"
#include "support/Bytes.h"
#include "support/MustEnd.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;
using Reaction = PlayedHost::Reaction;

bool hasId(const ByteArray& message, MessageId id) {
    return HostLinkMessage::messageId(message) == id;
}

ByteArray unsupported() {
    return bytes("00 80 00");
}

TEST(ClientRequests, SetAndGetAValue) {
    PlayedHost host;
    Client client(host.wire(), quick());
    EXPECT_EQ(client.set(STA_PlayerVolume, 31).text(), "");
    const auto volume = client.get(STA_PlayerVolume);
    ASSERT_TRUE(volume) << volume.text();
    EXPECT_EQ(*volume, Value(31));
    EXPECT_EQ(host.messages().back(), bytes("02 00 01 09 00"));
    EXPECT_EQ(host.messages()[host.messages().size() - 2], bytes("01 00 01 09 00 CC 1F"));
    EXPECT_TRUE(client.get(STA_MetaTitle)->isNil());
    EXPECT_EQ(client.set("MetaTitle", "Blue in Green").text(), "");
    EXPECT_EQ(*client.get("MetaTitle")->text(), "Blue in Green");
}

TEST(ClientRequests, SetAndGetMany) {
    PlayedHost host;
    Client client(host.wire(16), quick());
    EXPECT_EQ(client.setMany({{STA_PlayerVolume, 5}, {STA_MetaTitle, "Blue in Green"}}).text(), "");
    const auto values = client.getMany({STA_MetaTitle, STA_PlayerVolume});
    ASSERT_TRUE(values) << values.text();
    ASSERT_EQ(values->size(), 2U);
    EXPECT_EQ((*values)[0].state, StateId(STA_MetaTitle));
    EXPECT_EQ((*values)[0].value, Value("Blue in Green"));
    EXPECT_EQ((*values)[1].value, Value(5));
}

TEST(ClientRequests, ComeAsFuturesAndCallbacks) {
    PlayedHost host;
    Client client(host.wire(), quick());
    auto set = client.setAsync(STA_PlayerVolume, 12);
    auto setMany = client.setManyAsync({{STA_PlayerMute, 1}});
    auto get = client.getAsync(STA_PlayerVolume);
    auto many = client.getManyAsync({STA_PlayerVolume, STA_PlayerMute});
    mustEnd(many, "many");
    EXPECT_TRUE(set.get());
    EXPECT_TRUE(setMany.get());
    EXPECT_EQ(*get.get(), Value(12));
    EXPECT_EQ(many.get()->back().value, Value(1));

    std::promise<Value> got;
    std::promise<size_t> gotMany;
    std::promise<bool> done;
    std::promise<bool> doneMany;
    client.getAsync(STA_PlayerVolume, [&](const Result<Value>& value) { got.set_value(*value); });
    client.getManyAsync({STA_PlayerVolume},
                        [&](const Result<std::vector<StateValue>>& values) { gotMany.set_value(values->size()); });
    client.setAsync(STA_PlayerVolume, 13, [&](const Result<void>& result) { done.set_value(result.ok()); });
    client.setManyAsync({{STA_PlayerMute, 0}}, [&](const Result<void>& result) { doneMany.set_value(result.ok()); });
    auto last = doneMany.get_future();
    mustEnd(last, "callbacks");
    EXPECT_EQ(got.get_future().get(), Value(12));
    EXPECT_EQ(gotMany.get_future().get(), 1U);
    EXPECT_TRUE(done.get_future().get());
    EXPECT_TRUE(last.get());
}

TEST(ClientRequests, OfEveryKindComeAsFuturesAndCallbacks) {
    PlayedHost host;
    host.does([&host](const ByteArray& message) {
        if (HostLinkMessage::messageId(message) == MSG_SetLedApi) return Reaction{};
        return Reaction{Accepted, host.simulated(message)};
    });
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    const ByteArray getVolume = bytes("02 00 01 09 00");
    const ByteArray volume = bytes("02 80 01 09 00 CC 1E");
    auto key = client.sendInputEventAsync(BUT_KeyPressed, 5);
    auto led = client.setLedAsync(LED_SetPalette, 1);
    auto answer = client.askAsync(getVolume);
    auto sent = client.sendAsync(bytes("06 00 01 00 00 CC 05"));
    mustEnd(answer, "the answer");
    EXPECT_EQ(hex(*answer.get()), hex(volume));
    EXPECT_EQ(key.get().text(), "");
    EXPECT_EQ(led.get().text(), "");
    EXPECT_EQ(sent.get().text(), "");
    EXPECT_EQ(client.sendAsync({}).get().outcome(), Outcome::BadArgument);

    std::vector<std::promise<std::string>> ends(4);
    const auto end = [&ends](size_t at) {
        return [&ends, at](const Result<void>& result) { ends[at].set_value(result.text()); };
    };
    client.sendInputEventAsync(BUT_KeyReleased, 5, end(0));
    client.setLedAsync(LED_SetPalette, 1, end(1));
    client.sendAsync(bytes("06 00 01 00 00 CC 05"), end(2));
    client.askAsync(getVolume, [&](const Result<ByteArray>& result) { ends[3].set_value(hex(*result)); });
    for (size_t at = 0; at < ends.size(); ++at) {
        auto ended = ends[at].get_future();
        mustEnd(ended, "a callback");
        EXPECT_EQ(ended.get(), at == 3 ? hex(volume) : "") << at;
    }
}

TEST(ClientRequests, MayHaveACallbackThatIsNone) {
    PlayedHost host;
    Client client(host.wire(), quick());
    client.setAsync(STA_PlayerVolume, 12, Client::Callback<void>());
    const Listening keys = client.onInputEvent(nullptr);
    const Listening messages = client.onMessage(MSG_InputEvent, nullptr);
    const Listening link = client.onLink(nullptr);
    host.say(bytes("06 00 01 01 00 CC 05"));
    EXPECT_EQ(*client.get(STA_PlayerVolume), Value(12)); // behind the others
}

TEST(ClientRequests, MayWaitInACallback) {
    PlayedHost host;
    Client client(host.wire(), quick());
    std::promise<Value> seen;
    client.setAsync(STA_PlayerVolume, 77, [&](const Result<void>& /*unused*/) {
        client.set(STA_PlayerVolume, 78).orThrow();
        seen.set_value(client.get(STA_PlayerVolume).orThrow());
    });
    auto result = seen.get_future();
    mustEnd(result, "a request in a callback");
    EXPECT_EQ(result.get(), Value(78));
}

TEST(ClientRequests, FromManyThreadsGetTheirOwnAnswers) {
    PlayedHost host;
    Client client(host.wire(), quick());
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&client, &wrong, i] {
            const StateId own(0x4000 + i);
            for (int round = 0; round < 50; ++round) {
                const int value = i * 1000 + round;
                if (!client.set(own, value) || client.get(own).valueOr(Value()) != Value(value)) ++wrong;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

struct BadCase {
    const char* name;
    std::function<std::string(Client&)> ask; // gives the text of a bad argument
    std::string text;
};

template <typename R> std::string badText(const R& result) {
    return result.outcome() == Outcome::BadArgument ? result.text() : std::string(nameOf(result.outcome()));
}

TEST(ClientRequests, WithBadArgumentsSendNothing) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(isUpAndQuiet(client));
    const size_t before = host.messages().size();
    const std::vector<BadCase> cases = {
        {"unknown name", [](Client& c) { return badText(c.get("Volme")); },
         "get a state that is none: there is no state named 'Volme'; docs/vocabulary.md lists the names"},
        {"no states", [](Client& c) { return badText(c.getMany({})); },
         "get nothing: no state is named; name at least one"},
        {"no values", [](Client& c) { return badText(c.setMany({})); },
         "set nothing: no state is named; name at least one"},
        {"twice",
         [](Client& c) {
             return badText(c.setMany({{STA_PlayerVolume, 1}, {9, 2}}));
         },
         "set PlayerVolume, PlayerVolume: PlayerVolume is named twice"},
        {"no time", [](Client& c) { return badText(c.get(STA_PlayerVolume, Call().within(0ms))); },
         "get PlayerVolume: a deadline of 0 ms leaves no time"},
        {"long value", [](Client& c) { return badText(c.set(STA_MetaTitle, ByteArray(65536))); },
         "set MetaTitle: a value of 65536 bytes is longer than the 65535 that can be sent"},
        {"long message", [](Client& c) { return badText(c.set(STA_MetaTitle, ByteArray(65535))); },
         "set MetaTitle: it is longer than a message can be; ask for less at once"},
        {"long confirmed", [](Client& c) { return badText(c.set(STA_MetaTitle, ByteArray(65535), Confirm)); },
         "set MetaTitle: it is longer than a message can be; ask for less at once"},
        {"long event", [](Client& c) { return badText(c.sendInputEvent(BUT_KeyPressed, ByteArray(65535))); },
         "send an input event: it is longer than a message can be; ask for less at once"},
        {"long LED", [](Client& c) { return badText(c.setLed(LED_SetPalette, ByteArray(65535))); },
         "set the LEDs: it is longer than a message can be; ask for less at once"},
        {"more than 256 packets", [](Client& c) { return badText(c.set(STA_MetaTitle, ByteArray(13817))); },
         "set MetaTitle: a message of 13825 bytes is longer than the 13824 that go into 256 packets of this wire; ask "
         "for less at once, or give it larger packets"},
        {"more, confirmed",
         [](Client& c) { return badText(c.set(STA_MetaTitle, ByteArray(20000), Confirm)).substr(0, 42); },
         "set MetaTitle: a message of 20008 bytes is"},
        {"more, later",
         [](Client& c) { return badText(c.setAsync(STA_MetaTitle, ByteArray(20000)).get()).substr(0, 42); },
         "set MetaTitle: a message of 20008 bytes is"},
        {"empty message", [](Client& c) { return badText(c.send({})); },
         "send message 0: it has no bytes; the link would send nothing and call that accepted"},
        {"list for values", [](Client& c) { return badText(c.ask(bytes("01 00 01 09 00"))); },
         "ask message 1: it cannot be read as the tagged values that its id asks for"},
        {"values for list", [](Client& c) { return badText(c.ask(bytes("02 00 02 09 00 CC"))); },
         "ask message 2: it cannot be read as the list that its id asks for"},
        {"nothing answers", [](Client& c) { return badText(c.ask(bytes("06 00 01 01 00 CC 05"))); },
         "ask message 6: nothing answers it; use send()"}};
    for (const BadCase& one : cases) EXPECT_EQ(one.ask(client), one.text) << one.name;

    std::vector<StateId> many;
    for (int i = 0; i < 256; ++i) many.emplace_back(i);
    EXPECT_EQ(client.getMany(many).failure()->text().substr(0, 4), "get ");
    EXPECT_NE(client.getMany(many).text().find("256 states are more than the 255"), std::string::npos);
    EXPECT_EQ(client.getAsync("Volme").get().outcome(), Outcome::BadArgument);
    EXPECT_EQ(host.messages().size(), before);
    EXPECT_EQ(client.sendInputEvent(BUT_KeyPressed, ByteArray(13816)).text(), ""); // 256 packets
    EXPECT_EQ(host.messages().at(before).size(), 13824U);
}

TEST(ClientRequests, RefusedEachTimeAreNotSent) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    host.does([](const ByteArray&) { return Reaction{Rejected}; });
    const auto result = client.set(STA_PlayerVolume, 1);
    EXPECT_EQ(result.outcome(), Outcome::NotSent);
    EXPECT_FALSE(result.mayHaveBeenExecuted());
    EXPECT_EQ(result.failure()->refusals(), 4);
    EXPECT_EQ(result.text(), "set PlayerVolume: the host's link refused it (4 times), so the host has not got it. Ask "
                             "again later, when the host is less busy");
}

TEST(ClientRequests, NotAcceptedMayHaveBeenExecuted) {
    PlayedHost host;
    Client client(host.wire(), impatient());
    ASSERT_TRUE(client.waitUntilUp(20s));
    host.does([](const ByteArray&) { return Reaction{NoResponse}; });
    const auto result = client.set(STA_PlayerVolume, 1);
    EXPECT_EQ(result.outcome(), Outcome::Unanswered);
    EXPECT_TRUE(result.mayHaveBeenExecuted());
}

TEST(ClientRequests, AnsweredWithoutAnAcknowledgementAreDone) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    host.does([&host](const ByteArray& message) { return Reaction{Error, host.simulated(message)}; });
    EXPECT_EQ(client.set(STA_PlayerVolume, 41).text(), "");
}

TEST(ClientRequests, ThatBreakOffBeforeTheirLastPacketAreNotExecuted) {
    PlayedHost host;
    Options options = quick();
    options.unansweredWrites = 100;
    Client client(host.wire(16), options);
    ASSERT_TRUE(client.waitUntilUp(20s));
    host.does([&host](const ByteArray& message) { return Reaction{Accepted, host.simulated(message)}; });
    host.failsBeforeTheEnd(true);
    const auto result = client.set(STA_MetaTitle, "Blue in Green");
    EXPECT_EQ(result.outcome(), Outcome::NotSent);
    EXPECT_FALSE(result.mayHaveBeenExecuted());
    EXPECT_EQ(result.text(), "set MetaTitle: the host's link did not take the whole message, so the host has not got "
                             "it. Ask again");
}

TEST(ClientRequests, UnansweredSetsAreSentOnceAndGetsAgain) {
    PlayedHost host;
    Client client(host.wire(), impatient());
    ASSERT_TRUE(isUpAndQuiet(client));
    const size_t gets = host.count(MSG_GetState);
    host.does([](const ByteArray&) { return Reaction{}; });
    const auto set = client.set(STA_PlayerVolume, 1);
    EXPECT_EQ(set.outcome(), Outcome::Unanswered);
    EXPECT_EQ(set.text(), "set PlayerVolume: sent once, and no answer came. The host may have acted on it: read the "
                          "state back before you ask again, or allow more time");
    EXPECT_EQ(host.count(MSG_SetState), 1U);
    const auto get = client.get(STA_PlayerVolume);
    EXPECT_EQ(get.outcome(), Outcome::Unanswered);
    EXPECT_NE(get.text().find("sent 4 times"), std::string::npos);
    EXPECT_EQ(host.count(MSG_GetState), gets + 4);
}

TEST(ClientRequests, TellThatTheHostDoesNotSupportThem) {
    PlayedHost host;
    Options options = quick();
    options.refusalTime = 10s; // it comes before
    Client client(host.wire(), options);
    EXPECT_EQ(client.setLed(LED_SetPalette, 1).outcome(), Outcome::Unsupported);
    host.does([&host](const ByteArray& message) {
        if (hasId(message, MSG_SetState)) return Reaction{Accepted, {unsupported()}};
        return Reaction{Accepted, host.simulated(message)};
    });
    Options patient = quick();
    patient.lateFor = 1ms;
    Client other(host.wire(), patient);
    const auto result = other.set(STA_PlayerVolume, 3);
    EXPECT_EQ(result.outcome(), Outcome::Unsupported);
    EXPECT_FALSE(result.mayHaveBeenExecuted());
    EXPECT_NE(result.text().find("the host does not support this request"), std::string::npos);
}

TEST(ClientRequests, SendWhatNothingAnswers) {
    PlayedHost host;
    host.does([&host](const ByteArray& message) {
        if (hasId(message, MSG_SetLedApi)) return Reaction{};
        return Reaction{Accepted, host.simulated(message)};
    });
    Client client(host.wire(), quick());
    EXPECT_EQ(client.setLed(LED_SetPattern, 2).text(), "");
    EXPECT_EQ(host.messages().back(), bytes("09 00 01 01 00 CC 02"));
    EXPECT_EQ(client.sendInputEvent(BUT_KeyPressed, 5).text(), "");
    EXPECT_EQ(host.messages().back(), bytes("06 00 01 01 00 CC 05"));
    EXPECT_EQ(client.send(bytes("01 00 01 09 00 CC 1E")).text(), "");
    EXPECT_EQ(host.messages().back(), bytes("01 00 01 09 00 CC 1E"));
    host.does([](const ByteArray&) { return Reaction{Rejected}; });
    EXPECT_EQ(client.sendInputEvent(BUT_KeyPressed, 5).outcome(), Outcome::NotSent);
}

TEST(ClientRequests, AskAnyMessage) {
    PlayedHost host;
    Client client(host.wire(), quick());
    const auto answer = client.ask(bytes("01 00 01 09 00 CC 1E"));
    ASSERT_TRUE(answer) << answer.text();
    EXPECT_EQ(*answer, bytes("01 80 01 09 00 CC 1E"));
    // A host without that connection: 2, invalid connection.
    const auto tunnel = client.ask(bytes("08 00 01 01 00 C5 00 00"));
    ASSERT_TRUE(tunnel) << tunnel.text();
    EXPECT_EQ(*tunnel, bytes("09 80 01 01 00 CC 02"));
    Client other(host.wire(), impatient());
    ASSERT_TRUE(other.waitUntilUp(20s));
    host.does([](const ByteArray&) { return Reaction{}; });
    EXPECT_EQ(other.ask(bytes("01 00 01 09 00 CC 1E")).outcome(), Outcome::Unanswered);
}

TEST(ClientRequests, TellThatAStateIsMissingFromTheAnswer) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    host.does([](const ByteArray&) { return Reaction{Accepted, {bytes("02 80 01 09 00 CC 05")}}; });
    const auto result = client.getMany({STA_PlayerVolume, STA_PlayerMute});
    EXPECT_EQ(result.outcome(), Outcome::WithoutState);
    ASSERT_EQ(result.failure()->held().size(), 1U);
    EXPECT_EQ(result.failure()->held()[0].value, Value(5));
    host.does([](const ByteArray&) { return Reaction{Accepted, {bytes("01 80 00")}}; });
    EXPECT_EQ(client.set(STA_PlayerVolume, 1).outcome(), Outcome::WithoutState);
}

TEST(ClientRequests, TellThatTheHostHoldsAnotherValue) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    host.does([](const ByteArray&) { return Reaction{Accepted, {bytes("01 80 01 09 00 CC 05")}}; });
    const auto result = client.set(STA_PlayerVolume, 200);
    EXPECT_EQ(result.outcome(), Outcome::HoldsAnother);
    EXPECT_TRUE(result.mayHaveBeenExecuted());
    EXPECT_EQ(result.text(), "set PlayerVolume: the host answers that it holds PlayerVolume 5. It has limits of its "
                             "own, or a packet was damaged: read the state, or set it with Confirm");
    ASSERT_EQ(result.failure()->held().size(), 1U);
    EXPECT_EQ(result.failure()->held()[0].value, Value(5));
}

TEST(ClientRequests, ConfirmedSetsAreRepeatedUntilTheHostHoldsTheValue) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    // The first two sets arrive as 7, and the answers are damaged back.
    host.does([&host, sets = 0](const ByteArray& message) mutable {
        if (!hasId(message, MSG_SetState) || ++sets > 2) return Reaction{Accepted, host.simulated(message)};
        host.simulated(bytes("01 00 01 09 00 CC 07"));
        return Reaction{Accepted, {bytes("01 80 01 09 00 CC 05")}};
    });
    EXPECT_EQ(client.set(STA_PlayerVolume, 5, Confirm).text(), "");
    EXPECT_EQ(host.count(MSG_SetState), 3U);
    EXPECT_EQ(*client.get(STA_PlayerVolume), Value(5));
}

TEST(ClientRequests, ConfirmedSetsDoNotBelieveOneAnswerAlone) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(isUpAndQuiet(client));
    const size_t asked = host.count(MSG_GetState); // for the link
    // The first set arrives as 7, its answer says so, and the answer to the first question is damaged back.
    host.does([&host, sets = 0, gets = 0](const ByteArray& message) mutable {
        if (hasId(message, MSG_SetState) && ++sets == 1)
            return Reaction{Accepted, host.simulated(bytes("01 00 01 09 00 CC 07"))};
        if (hasId(message, MSG_GetState) && ++gets == 1) return Reaction{Accepted, {bytes("02 80 01 09 00 CC 05")}};
        return Reaction{Accepted, host.simulated(message)};
    });
    EXPECT_EQ(client.set(STA_PlayerVolume, 5, Confirm).text(), "");
    EXPECT_EQ(host.count(MSG_SetState), 2U);
    EXPECT_EQ(host.count(MSG_GetState), asked + 3U); // two after the first set, one after the second
    EXPECT_EQ(*client.get(STA_PlayerVolume), Value(5));
}

TEST(ClientRequests, ConfirmedSetsAreRepeatedWhenTheAnswerSaysTooLittle) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(isUpAndQuiet(client));
    host.does([&host, gets = 0](const ByteArray& message) mutable {
        if (hasId(message, MSG_GetState) && ++gets == 1) return Reaction{Accepted, {bytes("02 80 00")}};
        return Reaction{Accepted, host.simulated(message)};
    });
    EXPECT_EQ(client.set(STA_PlayerVolume, 5, Confirm).text(), "");
    EXPECT_EQ(host.count(MSG_SetState), 2U);
}

TEST(ClientRequests, ConfirmedSetsTellWhatTheHostHoldsInstead) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(client.waitUntilUp(20s));
    host.does([&host](const ByteArray& message) {
        if (hasId(message, MSG_SetState)) host.simulated(bytes("01 00 01 09 00 CC 28"));
        if (hasId(message, MSG_SetState)) return Reaction{Accepted, {bytes("01 80 01 09 00 CC 28")}};
        return Reaction{Accepted, host.simulated(message)};
    });
    const auto result = client.set(STA_PlayerVolume, 200, Confirm);
    EXPECT_EQ(result.outcome(), Outcome::HoldsAnother);
    EXPECT_EQ(result.failure()->held()[0].value, Value(40));
    EXPECT_EQ(host.count(MSG_SetState), 4U);
}

TEST(ClientRequests, ConfirmedSetsThatCannotBeReadBackAreUnanswered) {
    PlayedHost host;
    Client client(host.wire(), impatient());
    ASSERT_TRUE(client.waitUntilUp(20s));
    host.does([&host](const ByteArray& message) {
        if (hasId(message, MSG_GetState)) return Reaction{};
        return Reaction{Accepted, host.simulated(message)};
    });
    EXPECT_EQ(client.set(STA_PlayerVolume, 6, Confirm).outcome(), Outcome::Unanswered);
    host.does([](const ByteArray& message) {
        if (hasId(message, MSG_GetState)) return Reaction{Rejected};
        return Reaction{};
    });
    EXPECT_EQ(client.set(STA_PlayerMute, 1, Confirm).outcome(), Outcome::Unanswered);
    host.does([](const ByteArray&) { return Reaction{Accepted, {unsupported()}}; });
    EXPECT_NE(client.set(STA_PowerState, 1, Confirm).outcome(), Outcome::Done);
}

TEST(ClientRequests, ConfirmedSetsSayWhatTheHostHeldWhenItFallsSilent) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(isUpAndQuiet(client));
    host.does([gets = 0](const ByteArray& message) mutable {
        if (hasId(message, MSG_SetState)) return Reaction{Accepted, {bytes("01 80 01 09 00 CC 28")}};
        if (hasId(message, MSG_GetState) && ++gets == 1) return Reaction{Accepted, {bytes("02 80 01 09 00 CC 28")}};
        return Reaction{};
    });
    // Long enough for what it says on a busy machine; the rest of it is its silence.
    const auto result = client.set(STA_PlayerVolume, 200, Call(Confirm).within(5s));
    EXPECT_EQ(result.outcome(), Outcome::HoldsAnother) << result.text();
}

TEST(ClientRequests, WaitForWhatCouldBeTakenForTheirAnswer) {
    PlayedHost host;
    Options options = quick();
    options.lateFor = 20s;
    options.sendings = 1;
    Client client(host.wire(), options);
    ASSERT_TRUE(isUpAndQuiet(client));
    // The first answer comes late; the host answers from then on. One question waits in vain, for as long as a busy
    // machine may take to send it.
    host.does([](const ByteArray&) { return Reaction{}; });
    EXPECT_EQ(client.get(STA_PlayerVolume, Call().within(4s)).outcome(), Outcome::Unanswered);
    host.does([](const ByteArray&) { return Reaction{Accepted, {bytes("02 80 01 09 00 CC 63")}}; });
    auto next = client.getAsync(STA_PlayerVolume);
    host.say(bytes("02 80 01 09 00 CC 01")); // the late one
    EXPECT_EQ(*next.get(), Value(99));
}

TEST(ClientRequests, DoNotTakeARepeatedAnswer) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(isUpAndQuiet(client));
    // What comes later than that is by rights another packet; half of the time is the way from the host to its look.
    const auto soon = std::chrono::steady_clock::now() + RepeatedPackets::longest / 2;
    host.does([soon, count = 0](const ByteArray&) mutable {
        if (++count == 1) return Reaction{Accepted, {bytes("02 80 01 09 00 CC 01")}};
        return Reaction{Accepted, {bytes("02 80 01 09 00 CC 02")}, false, soon};
    });
    EXPECT_EQ(*client.get(STA_PlayerVolume), Value(1));
    EXPECT_EQ(*client.get(STA_PlayerVolume), Value(2));
}

TEST(ClientRequests, EndWhenTheyAreCancelled) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(isUpAndQuiet(client));
    std::promise<void> arrived;
    host.does([&arrived, first = true](const ByteArray&) mutable {
        if (std::exchange(first, false)) arrived.set_value();
        return Reaction{};
    });
    Cancellation cancellation;
    auto sent = client.setAsync(STA_PlayerVolume, 1, Call().cancelledBy(cancellation));
    auto waiting = client.setAsync(STA_PlayerMute, 1, Call().cancelledBy(cancellation));
    auto there = arrived.get_future();
    mustEnd(there, "the request's way to the host");
    const Cancellation copy = cancellation;
    Cancellation(copy).cancel();
    const auto first = sent.get();
    EXPECT_EQ(first.outcome(), Outcome::Cancelled);
    EXPECT_TRUE(first.mayHaveBeenExecuted());
    EXPECT_EQ(first.text(), "set PlayerVolume: cancelled after it was sent: the host may have acted on it");
    const auto second = waiting.get();
    EXPECT_EQ(second.text(), "set PlayerMute: cancelled before it was sent: the host has not got it");
    EXPECT_FALSE(second.mayHaveBeenExecuted());
    EXPECT_EQ(client.get(STA_PowerState, Call().cancelledBy(cancellation)).outcome(), Outcome::Cancelled);
    EXPECT_EQ(client.set(STA_PowerState, 1, Call(Confirm).cancelledBy(cancellation)).outcome(), Outcome::Cancelled);
}

TEST(ClientRequests, ThatHaveEndedAreNotCancelledAnyMore) {
    PlayedHost host;
    Client client(host.wire(), quick());
    Cancellation cancellation;
    const Call call = Call().cancelledBy(cancellation).whileDown(WhileDown::Wait);
    EXPECT_TRUE(client.set(STA_PlayerVolume, 7, call));
    const auto held = client.get(STA_PlayerVolume, call);
    cancellation.cancel();
    EXPECT_EQ(*held, Value(7));
    EXPECT_EQ(client.get(STA_PlayerVolume, call).outcome(), Outcome::Cancelled);
    cancellation = Cancellation(); // has nothing to do with that one
    EXPECT_EQ(*client.get(STA_PlayerVolume, Call().cancelledBy(cancellation)), Value(7));
}

TEST(ClientRequests, TimeOutBeforeTheirTurnComes) {
    PlayedHost host;
    Client client(host.wire(), quick());
    ASSERT_TRUE(isUpAndQuiet(client));
    std::promise<void> arrived;
    host.does([&arrived, first = true](const ByteArray&) mutable {
        if (std::exchange(first, false)) arrived.set_value();
        return Reaction{};
    });
    auto first = client.setAsync(STA_PlayerVolume, 1);
    auto there = arrived.get_future();
    mustEnd(there, "the first request's way to the host");
    const auto second = client.set(STA_PlayerMute, 1, Call().within(50ms));
    EXPECT_EQ(second.outcome(), Outcome::TimedOutBeforeSending);
    EXPECT_FALSE(second.mayHaveBeenExecuted());
    host.say(bytes("01 80 01 09 00 CC 01")); // the first was under way until now
    EXPECT_EQ(first.get().text(), "");
}

} // namespace
