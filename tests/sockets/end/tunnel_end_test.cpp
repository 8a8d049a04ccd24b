// The simulator's end of tunnels: it tells what there is to tell, and when it wants to be looked at again.
#include <chrono>
#include <set>
#include <string>

#include <poll.h>
#include <sys/socket.h>
#include <tools/TunnelEnd.h>

#include <gtest/gtest.h>

#include <exchange/TunnelMessages.h>
#include <sockets/Socket.h>

#include "support/Bytes.h"

using namespace hostlink::exchange;

namespace {

constexpr int patience = 20000; // ms, of the test
constexpr int packetSize = 64;

std::string addressOf(uint16_t port) {
    return "127.0.0.1:" + std::to_string(port);
}

// A port that nobody listens at, and that nobody else gets meanwhile.
struct Nobody {
    const Socket socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};

    Nobody() {
        const TcpAddress any = addressesOf("127.0.0.1", 0).front();
        EXPECT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&any.bytes), any.size), 0);
    }
    std::string address() const { return addressOf(portOf(socket)); }
};

// The simulator's loop: it sleeps until the end's descriptor has something, or its moment has come.
class Loop {
public:
    explicit Loop(TunnelEnd& tunnelEnd) : end(tunnelEnd) {}

    // What is said next; empty when it would sleep for good.
    ByteArray next() {
        for (;;) {
            auto said = end.messages(time());
            if (!said.empty()) {
                end.finished(said.front(), true);
                return said.front();
            }
            pollfd descriptor{end.descriptor(), POLLIN, 0};
            if (::poll(&descriptor, 1, end.deadline() ? 1 : patience) == 0 && !end.deadline()) return {};
        }
    }
    static hostsim::Time time() {
        return std::chrono::duration_cast<hostsim::Time>(std::chrono::steady_clock::now().time_since_epoch());
    }

private:
    TunnelEnd& end;
};

ByteArray toOpen(uint16_t number) {
    return writeTunnelRequest({number, TunnelCommand::Open, 0, nullptr, 0});
}

} // namespace

// The kernel says that it is connecting, and a moment later that nobody is there: the end finds that out in its second
// look at the sockets, when it has looked for messages already.
TEST(ATunnelEnd, TellsThatNobodyIsThere) {
    const Nobody nobody;
    TunnelEnd end(nobody.address(), packetSize);
    Loop loop(end);
    ASSERT_TRUE(end.handle(toOpen(7)));
    EXPECT_EQ(hex(loop.next()), hex(writeTunnelAnswer({7, TCP_TranferFailed, 0, 0})));
    EXPECT_TRUE(end.messages(Loop::time()).empty());
    EXPECT_FALSE(end.deadline());
}

// Several at a time: whoever is told of one is waked for the others.
TEST(ATunnelEnd, TellsItOfEachConnection) {
    const Nobody nobody;
    TunnelEnd end(nobody.address(), packetSize);
    Loop loop(end);
    for (const uint16_t number : std::initializer_list<uint16_t>{7, 8, 9}) ASSERT_TRUE(end.handle(toOpen(number)));
    std::set<uint16_t> told;
    for (int i = 0; i < 3; ++i) {
        const auto answer = readTunnelAnswer(loop.next());
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->result, TCP_TranferFailed);
        told.insert(answer->connection);
    }
    EXPECT_EQ(told, (std::set<uint16_t>{7, 8, 9}));
}

TEST(ATunnelEnd, TellsThatSomebodyIsThere) {
    const Socket server = listenAt("127.0.0.1", 0);
    TunnelEnd end(addressOf(portOf(server)), packetSize);
    Loop loop(end);
    ASSERT_TRUE(end.handle(toOpen(7)));
    EXPECT_EQ(hex(loop.next()), hex(writeTunnelAnswer({7, TCP_Success, 0, 16384})));
}

TEST(ATunnelEnd, LeavesOtherMessagesToTheHost) {
    const Nobody nobody;
    TunnelEnd end(nobody.address(), packetSize);
    EXPECT_FALSE(end.handle(bytes("02 00 01 09 00")));
    end.finished(bytes("02 80 00"), true); // not of a tunnel
    EXPECT_TRUE(end.messages(Loop::time()).empty());
}
