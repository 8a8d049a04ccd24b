// A client whose callers run out of memory: they hear of it, and the next request works.
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <poll.h>

#include <gtest/gtest.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Client.h>

#include "hostlinkclient/session/PlayedHost.h"
#include "hostlinkclient/session/QuickOptions.h"
#include "hostlinkclient/session/WireData.h"
#include "support/ProcessCounts.h"
#include "sweep/AllocationSweep.h"

using namespace sweep;
using namespace std::chrono_literals;
using hostlink::Call;
using hostlink::Client;
using Ended = hostlink::Outcome;

namespace {

// A link whose own writing is not under test: what a blocking request writes it writes on its caller's thread.
class Unwatched : public HostLinkPhysicalLayer {
public:
    explicit Unwatched(std::unique_ptr<HostLinkPhysicalLayer> link)
        : HostLinkPhysicalLayer(Properties()), real(std::move(link)) {
        real->addDataReceivedObserver([this](const ByteArray& packet) { notifyObservers(packet); });
    }
    bool init() override { return real->init(); }
    void shutdown() override { real->shutdown(); }
    int nextFrameId() override { return real->nextFrameId(); }
    WriteDataResponse writeData(const ByteArray& packet) override {
        const UnwatchedAllocations own;
        return real->writeData(packet);
    }

private:
    const std::unique_ptr<HostLinkPhysicalLayer> real;
};

class ClientWithoutMemory : public testing::Test {
protected:
    ClientWithoutMemory() { EXPECT_TRUE(client->waitUntilUp(20s)); }

    hostlink::Wire wire() {
        return hostlink::OwnLink{[inner = host.wire()] { return std::make_unique<Unwatched>(inner.inside().make()); },
                                 "played", 64};
    }
    // What waits for a late answer to what was broken off waits a little.
    void expectService() {
        for (int i = 0; i < 2; ++i) {
            const auto done = client->set(STA_PlayerVolume, ++last, Call().within(20s));
            EXPECT_TRUE(done) << done.text();
            const auto value = client->get(STA_PlayerVolume, Call().within(20s));
            ASSERT_TRUE(value) << value.text();
            EXPECT_EQ(*value, hostlink::Value(last));
        }
    }
    template <typename Operation> void sweepOf(Operation operation) {
        sweepAllocations(operation, [this](const sweep::Outcome&) { expectService(); });
    }

    PlayedHost host;
    std::unique_ptr<Client> client = std::make_unique<Client>(wire(), quick());
    int last = 0;
};

TEST_F(ClientWithoutMemory, GetsLater) {
    sweepOf([this] { EXPECT_TRUE(client->get(STA_PlayerVolume)); });
}

// What of the message got out decides what is said; it is not repeated.
TEST_F(ClientWithoutMemory, SetsLater) {
    hostlink::Result<void> done;
    sweepOf([&] {
        done = client->set(STA_PlayerMute, 1);
        EXPECT_TRUE(done || done.outcome() == Ended::NotSent || done.outcome() == Ended::Unanswered) << done.text();
    });
    EXPECT_TRUE(done) << done.text(); // the last time there was memory
}

TEST_F(ClientWithoutMemory, AsksLaterWithoutWaiting) {
    std::future<hostlink::Result<hostlink::Value>> answer;
    sweepOf([&] { answer = client->getAsync(STA_PlayerVolume); });
    EXPECT_TRUE(answer.get());
}

TEST_F(ClientWithoutMemory, AsksLaterWithACancellation) {
    const hostlink::Cancellation cancellation;
    sweepOf([&] { EXPECT_TRUE(client->get(STA_PlayerVolume, Call().cancelledBy(cancellation))); });
}

// Each callback of a request that was taken is called, and none is waited for that was not.
TEST_F(ClientWithoutMemory, AsksLaterWithACallback) {
    std::atomic<int> told{0};
    int taken = 0;
    sweepAllocations(
        [&] { client->getAsync(STA_PlayerVolume, [&told](const hostlink::Result<hostlink::Value>&) { ++told; }); },
        [&](const sweep::Outcome& outcome) {
            taken += outcome.completed ? 1 : 0;
            expectService();
        });
    client->close();
    EXPECT_EQ(told, taken);
}

// Whose caller looks at the clock himself, and ends it. Each time about another state: nothing waits for late answers.
TEST_F(ClientWithoutMemory, EndsWhatIsNotAnsweredInTime) {
    host.does([this](const ByteArray& message) {
        if (HostLinkMessage::messageId(message) == MSG_SubscribeState) return PlayedHost::Reaction{};
        return PlayedHost::Reaction{Accepted, host.simulated(message)};
    });
    ByteArray question{0x03, 0x00, 0x01, 0x09, 0x00}; // subscribe to one state
    sweepOf([&] {
        ++question[3];
        const auto answer = client->ask(question, Call().within(30ms));
        EXPECT_TRUE(answer.outcome() == Ended::Unanswered || answer.outcome() == Ended::NotSent ||
                    answer.outcome() == Ended::TimedOutBeforeSending)
            << answer.text();
    });
}

// Whoever has no memory to cancel them all may do it again; what cannot be told breaks its promise, and only that.
TEST_F(ClientWithoutMemory, CancelsLater) {
    host.does([this](const ByteArray& message) {
        if (HostLinkMessage::messageId(message) == MSG_SubscribeState) return PlayedHost::Reaction{};
        return PlayedHost::Reaction{Accepted, host.simulated(message)};
    });
    ByteArray question{0x03, 0x00, 0x01, 0x09, 0x00};
    std::optional<hostlink::Cancellation> cancellation;
    std::vector<std::future<hostlink::Result<ByteArray>>> answers;
    sweepAllocations(
        [&] {
            {
                const UnwatchedAllocations own;
                cancellation.emplace();
                answers.clear();
                for (int i = 0; i < 3; ++i) {
                    ++question[3];
                    answers.push_back(client->askAsync(question, Call().within(20s).cancelledBy(*cancellation)));
                }
            }
            cancellation->cancel();
        },
        [&](const sweep::Outcome& outcome) {
            cancellation->cancel();
            int broken = 0;
            for (auto& answer : answers) {
                try {
                    EXPECT_EQ(answer.get().outcome(), Ended::Cancelled);
                } catch (const std::future_error&) {
                    ++broken;
                }
            }
            EXPECT_LE(broken, outcome.completed ? 0 : 1);
            expectService();
        });
}

TEST_F(ClientWithoutMemory, SubscribesLater) {
    hostlink::Subscription subscription;
    const long threads = threadCount();
    sweepAllocations([&] { subscription = client->subscribe({STA_PlayerVolume}, [](const hostlink::Change&) {}); },
                     [&](const sweep::Outcome& outcome) {
                         expectService();
                         ASSERT_TRUE(outcome.completed || waitUntilNoMoreThreadsThan(threads));
                     });
    EXPECT_TRUE(subscription.established(20s));
}

// The host is told when there is memory again.
TEST_F(ClientWithoutMemory, EndsASubscription) {
    std::optional<hostlink::Subscription> subscription;
    sweepAllocations(
        [&] {
            {
                const UnwatchedAllocations own;
                subscription.emplace(client->subscribe({STA_PlayerVolume}, [](const hostlink::Change&) {}));
                EXPECT_TRUE(subscription->established(20s));
            }
            subscription.reset();
        },
        [&](const sweep::Outcome& outcome) {
            EXPECT_TRUE(outcome.completed);
            expectService();
        });
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (host.count(MSG_UnsubscribeState) < host.count(MSG_SubscribeState) &&
           std::chrono::steady_clock::now() < deadline)
        ::poll(nullptr, 0, 1);
    EXPECT_EQ(host.count(MSG_UnsubscribeState), host.count(MSG_SubscribeState));
}

TEST_F(ClientWithoutMemory, BeginsToSendAFileLater) {
    std::optional<hostlink::Result<hostlink::Sending>> sending;
    const auto content = std::make_shared<std::istringstream>(std::string(100, 'x'));
    sweepOf([&] { sending.emplace(client->beginSending(content, hostlink::SendOptions{"x", 0, 1000ms, 20s, 3, {}})); });
    ASSERT_TRUE(*sending) << sending->text();
    EXPECT_TRUE((*sending)->wait());
}

TEST(ClientWithoutMemoryAtFirst, IsMadeLater) {
    PlayedHost host;
    const long threads = threadCount();
    std::optional<Client> client;
    sweepAllocations([&] { client.emplace(host.wire(), quick()); },
                     [&](const sweep::Outcome& outcome) {
                         EXPECT_EQ(client.has_value(), outcome.completed);
                         client.reset();
                         ASSERT_TRUE(waitUntilNoMoreThreadsThan(threads));
                     });
}

} // namespace
