// The client's tunnel over a host that the test plays: at the host's end every connection is an echo.
#include <array>

#include <poll.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <exchange/TunnelMessages.h>
#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Client.h>
#include <sockets/Socket.h>

#include "hostlinkclient/EchoTunnels.h"
#include "hostlinkclient/session/PlayedHost.h"
#include "support/Bytes.h"
#include "support/MustEnd.h"
#include "support/NoMoreThreads.h"

using namespace hostlink;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr int patience = 20000; // ms, of the test

// Everything happens while a message of the module is taken, under the played host's lock.
struct EchoHost {
    PlayedHost played;
    EchoTunnels tunnels;

    EchoHost() {
        played.does([this](const ByteArray& message) { return accept(message); });
    }
    PlayedHost::Reaction accept(const ByteArray& message) {
        const auto said = tunnels.take(message);
        return {Accepted, said ? *said : played.simulated(message)};
    }
};

struct Program {
    exchange::Socket socket;

    explicit Program(uint16_t port) {
        sockaddr_storage address{};
        const auto to = exchange::addressesOf("127.0.0.1", port).front();
        address = to.bytes;
        socket = exchange::Socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), to.size), 0);
    }
    void write(const ByteArray& data) const {
        EXPECT_EQ(::send(socket.get(), data.data(), data.size(), MSG_NOSIGNAL), static_cast<ssize_t>(data.size()));
    }
    void finish() const { ::shutdown(socket.get(), SHUT_WR); }
    // Until the connection ends.
    ByteArray read() const {
        ByteArray all;
        std::array<uint8_t, 4096> buffer{};
        pollfd descriptor{socket.get(), POLLIN, 0};
        for (;;) {
            if (::poll(&descriptor, 1, patience) != 1) return all;
            const ssize_t count = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
            if (count <= 0) return all;
            all.insert(all.end(), buffer.begin(), buffer.begin() + count);
        }
    }
};

} // namespace

TEST(ATunnel, CarriesBytesThereAndBack) {
    EchoHost host;
    Client client(host.played.wire());
    const auto tunnel = client.tunnel();
    ASSERT_TRUE(tunnel) << tunnel.text();
    EXPECT_NE(tunnel->port(), 0);
    const ByteArray much = patternBytes(20000);
    {
        const Program program(tunnel->port());
        program.write(much);
        program.finish();
        EXPECT_EQ(program.read(), much);
    }
    TunnelStatistics counts = tunnel->statistics();
    for (int i = 0; i < patience && counts.finished == 0; ++i) {
        ::poll(nullptr, 0, 1); // the last answer is on its way
        counts = tunnel->statistics();
    }
    EXPECT_EQ(counts.opened, 1u);
    EXPECT_EQ(counts.finished, 1u);
    EXPECT_EQ(counts.bytesToHost, much.size());
    EXPECT_EQ(counts.bytesFromHost, much.size());
    EXPECT_EQ(counts.open, 0u);
}

TEST(ATunnel, BreaksConnectionsOfAHostThatKnowsNone) {
    PlayedHost host;
    host.does([&host](const ByteArray& message) {
        const bool tunnels = HostLinkMessage::messageId(message) == MSG_TcpTunneling;
        return PlayedHost::Reaction{Accepted,
                                    tunnels ? std::vector<ByteArray>{bytes("00 80 00")} : host.simulated(message)};
    });
    Client client(host.wire());
    ASSERT_TRUE(client.waitUntilUp(seconds(20)));
    const auto tunnel = client.tunnel();
    const Program program(tunnel->port());
    EXPECT_TRUE(program.read().empty());
    for (int i = 0; i < patience && tunnel->statistics().refused == 0; ++i) ::poll(nullptr, 0, 1);
    EXPECT_EQ(tunnel->statistics().refused, 1u);
}

// Whoever has seen his connection break may ask at once, and is not told that it is open.
TEST(ATunnel, CountsABrokenConnectionBeforeItsProgramHearsOfIt) {
    PlayedHost host;
    host.does([&host](const ByteArray& message) {
        const auto request = exchange::readTunnelRequest(message);
        if (!request) return PlayedHost::Reaction{Accepted, host.simulated(message)};
        return PlayedHost::Reaction{Accepted,
                                    {exchange::writeTunnelAnswer({request->connection, TCP_TranferFailed, 0, 0})}};
    });
    Client client(host.wire());
    const auto tunnel = client.tunnel();
    ASSERT_TRUE(tunnel) << tunnel.text();
    for (uint64_t refused = 1; refused <= 20; ++refused) {
        const Program program(tunnel->port());
        EXPECT_TRUE(program.read().empty());
        const TunnelStatistics counts = tunnel->statistics();
        EXPECT_EQ(counts.refused, refused);
        EXPECT_EQ(counts.open, 0u);
    }
}

// The host refuses or loses every third request.
TEST(ATunnel, LosesNothingWhereMessagesGetLost) {
    EchoHost host;
    int messages = 0;
    host.played.does([&](const ByteArray& message) {
        if (HostLinkMessage::messageId(message) == MSG_TcpTunneling && ++messages % 3 == 0)
            return PlayedHost::Reaction{messages % 2 == 0 ? Error : Rejected, {}};
        return host.accept(message);
    });
    Client client(host.played.wire());
    const auto tunnel = client.tunnel();
    const Program program(tunnel->port());
    const ByteArray some = patternBytes(5000);
    program.write(some);
    program.finish();
    EXPECT_EQ(program.read(), some);
}

// Each message longer than the link tries.
TEST(ATunnel, SendsAgainWhatTheHostsLinkRefuses) {
    EchoHost host;
    int refusals = 0;
    host.played.does([&](const ByteArray& message) {
        const auto request = exchange::readTunnelRequest(message);
        const bool refused = request && request->command == exchange::TunnelCommand::Data && ++refusals <= 20;
        if (refused) return PlayedHost::Reaction{Rejected, {}};
        return host.accept(message);
    });
    Client client(host.played.wire());
    const auto tunnel = client.tunnel();
    const Program program(tunnel->port());
    program.write(bytes("01 02 03"));
    program.finish();
    EXPECT_EQ(hex(program.read()), "01 02 03");
    EXPECT_GT(host.played.guarded([&] { return refusals; }), 20);
}

TEST(ATunnel, EndsWithItsLastCopyAndTellsTheHost) {
    EchoHost host;
    Client client(host.played.wire());
    Result<Tunnel> tunnel = client.tunnel();
    const Program program(tunnel->port());
    program.write(bytes("01"));
    std::array<uint8_t, 1> echoed{};
    ASSERT_EQ(::recv(program.socket.get(), echoed.data(), 1, 0), 1);
    {
        Tunnel copy = *tunnel;
        tunnel = client.tunnel();
        EXPECT_EQ(tunnel.outcome(), Outcome::BadArgument);
        EXPECT_NE(tunnel.text().find("there is one already"), std::string::npos);
        Tunnel other;
        other = copy;
    }
    EXPECT_TRUE(program.read().empty());
    // The end does not wait for the host for long, but what it says to it goes out.
    const auto isTold = [&] { return host.tunnels.machine().connections() == 0; };
    mustBecomeTrue([&] { return host.played.guarded(isTold); }, "the host is told");
    EXPECT_EQ(host.played.guarded([&] { return host.tunnels.machine().counts().broken; }), 1u);
}

TEST(ATunnel, EndsWithTheClientWhileNobodyAnswers) {
    PlayedHost host;
    host.refuseLinks(true);
    Client client(host.wire());
    const auto tunnel = client.tunnel();
    const Program program(tunnel->port());
    const auto before = std::chrono::steady_clock::now();
    client.close();
    EXPECT_LT(std::chrono::steady_clock::now() - before, seconds(10));
    EXPECT_TRUE(program.read().empty());
    Tunnel same = *tunnel;
    same.end();
    EXPECT_EQ(client.tunnel().outcome(), Outcome::BadArgument);
}

TEST(ATunnel, SaysWhatIsWrongWithIt) {
    PlayedHost host;
    Client client(host.wire());
    TunnelSettings settings;
    settings.connections = 0;
    EXPECT_NE(client.tunnel(settings).text().find("no connections"), std::string::npos);
    settings = TunnelSettings();
    settings.patience = milliseconds(0);
    EXPECT_EQ(client.tunnel(settings).outcome(), Outcome::BadArgument);
    settings = TunnelSettings();
    settings.hostPacketTimeout = milliseconds(0);
    EXPECT_EQ(client.tunnel(settings).outcome(), Outcome::BadArgument);
    settings = TunnelSettings();
    settings.address = "256.256.256.256";
    EXPECT_NE(client.tunnel(settings).text().find("no address for"), std::string::npos);
    const Tunnel none;
    EXPECT_EQ(none.port(), 0);
    EXPECT_EQ(none.statistics().opened, 0u);
    Tunnel ended;
    ended.end();
}

TEST(ATunnel, SaysThatThereIsNoThreadForIt) {
    PlayedHost host;
    Client client(host.wire());
    ASSERT_TRUE(client.waitUntilUp(seconds(20)));
    {
        const NoMoreThreads none;
        const auto never = client.tunnel();
        EXPECT_EQ(never.outcome(), Outcome::NotSent);
        EXPECT_EQ(never.text().rfind("the tunnel at 127.0.0.1: no thread for it: ", 0), 0u) << never.text();
    }
    const auto tunnel = client.tunnel();
    EXPECT_TRUE(tunnel) << tunnel.text();
}
