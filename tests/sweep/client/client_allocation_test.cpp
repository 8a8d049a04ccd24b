// A client whose callers run out of memory: they hear of it, and the next request works.
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

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
using hostlink::Outcome;

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

TEST_F(ClientWithoutMemory, SetsLater) {
    sweepOf([this] { EXPECT_TRUE(client->set(STA_PlayerMute, 1)); });
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

// Its caller looks at the clock himself, and ends it.
TEST_F(ClientWithoutMemory, EndsWhatIsNotAnsweredInTime) {
    host.does([this](const ByteArray& message) {
        if (HostLinkMessage::messageId(message) == MSG_SubscribeState) return PlayedHost::Reaction{};
        return PlayedHost::Reaction{Accepted, host.simulated(message)};
    });
    const ByteArray question{0x03, 0x00, 0x01, 0x09, 0x00}; // subscribe to one state
    sweepOf([&] { EXPECT_EQ(client->ask(question, Call().within(5ms)).outcome(), Outcome::Unanswered); });
}

TEST_F(ClientWithoutMemory, SubscribesLater) {
    hostlink::Subscription subscription;
    const long threads = threadCount();
    sweepAllocations([&] { subscription = client->subscribe({STA_PlayerVolume}, [](const hostlink::Change&) {}); },
                     [&](const sweep::Outcome& outcome) {
                         expectService();
                         if (!outcome.completed) {
                             ASSERT_TRUE(waitUntilNoMoreThreadsThan(threads));
                         }
                     });
    EXPECT_TRUE(subscription.established(20s));
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
