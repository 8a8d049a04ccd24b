// Both ends of tunnels with real sockets, over the loopback interface; the wire between them is a function call. One
// thread: `until` lets everything happen that can, and waits for the kernel where nothing can.
#include <array>
#include <chrono>
#include <functional>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sockets/TunnelSockets.h>

#include "support/Bytes.h"
#include "support/Watchdog.h"

using namespace hostlink::exchange;

namespace {

constexpr auto patience = std::chrono::seconds(50); // of the test, on a busy machine; its watchdog has a minute

Time now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

TunnelOptions options() {
    TunnelOptions given;
    given.mostConnections = 2;
    return given;
}

// What a blocking program would do, without blocking.
struct Peer {
    Socket socket;
    ByteArray received;
    bool ended = false;
    int error = 0;

    void read() {
        std::array<uint8_t, 4096> buffer{};
        ssize_t count = 0;
        while (!ended && error == 0 &&
               (count = ::recv(socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT)) != -1) {
            ended = count == 0;
            received.insert(received.end(), buffer.begin(), buffer.begin() + count);
        }
        if (count < 0 && errno != EAGAIN) error = errno;
    }
    // How many the kernel takes now.
    size_t write(const ByteArray& data, size_t from = 0) {
        const ssize_t count = ::send(socket.get(), data.data() + from, data.size() - from, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && errno != EAGAIN && errno != ENOTCONN) error = errno;
        return count < 0 ? 0 : static_cast<size_t>(count);
    }
    void finish() const { ::shutdown(socket.get(), SHUT_WR); }
};

struct Line {
    Socket server = listenAt("127.0.0.1", 0);
    Tunnels atModule{options()};
    Tunnels atHost{options()};
    TunnelSockets module{atModule};
    TunnelSockets host;
    uint16_t port = 0;

    explicit Line(std::vector<TcpAddress> triedBefore = {}, bool thenTheServer = true)
        : host(atHost, addresses(std::move(triedBefore), thenTheServer)) {
        Socket listening = listenAt("127.0.0.1", 0);
        port = portOf(listening);
        module.accept(std::move(listening));
    }

    std::vector<TcpAddress> addresses(std::vector<TcpAddress> list, bool thenTheServer) const {
        if (thenTheServer) list.push_back(addressesOf("127.0.0.1", portOf(server)).front());
        return list;
    }

    Peer connect() const { return Peer{beginToConnect(addressesOf("127.0.0.1", port).front()), {}, false, 0}; }

    bool pass(Tunnels& from, Tunnels& to) const {
        const auto message = from.nextMessage(now());
        if (!message) return false;
        from.sent(Delivery::Accepted, now());
        to.receive(*message, now());
        return true;
    }
    void turn() {
        atModule.advance(now());
        atHost.advance(now());
        module.handle(now());
        host.handle(now());
        while (pass(atModule, atHost) || pass(atHost, atModule)) {
        }
        module.handle(now());
        host.handle(now());
    }
    bool until(const std::function<bool()>& reached) {
        const Time end = now() + patience;
        bool done = reached();
        for (; !done && now() < end; done = reached()) {
            turn();
            std::array<pollfd, 2> descriptors{{{module.descriptor(), POLLIN, 0}, {host.descriptor(), POLLIN, 0}}};
            ::poll(descriptors.data(), descriptors.size(), 1);
        }
        return done;
    }
    Peer acceptAtServer() {
        Peer peer;
        EXPECT_TRUE(until([&] {
            peer.socket = Socket(::accept4(server.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
            return static_cast<bool>(peer.socket);
        }));
        return peer;
    }
    bool received(Peer& peer, size_t count) {
        return until([&] {
            peer.read();
            return peer.received.size() >= count;
        });
    }
    bool ended(Peer& peer) {
        return until([&] {
            peer.read();
            return peer.ended || peer.error != 0;
        });
    }
};

// As a program that dies: what it has not read is lost, and so is its connection.
void breakOff(Peer& peer) {
    const linger atOnce{1, 0};
    ::setsockopt(peer.socket.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    peer = Peer();
}

// A port that nobody listens at, and that nobody else gets meanwhile.
struct Nobody {
    Socket socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    TcpAddress address = addressesOf("127.0.0.1", 0).front();

    Nobody() {
        EXPECT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address.bytes), address.size), 0);
        address = addressesOf("127.0.0.1", portOf(socket)).front();
    }
};

} // namespace

TEST(TunnelSockets, CarryWhatAProgramSaysToAServerAndBack) {
    Line line;
    Peer program = line.connect();
    Peer server = line.acceptAtServer();
    EXPECT_EQ(program.write(bytes("01 02 03")), 3u);
    ASSERT_TRUE(line.received(server, 3));
    EXPECT_EQ(hex(server.received), "01 02 03");
    EXPECT_EQ(server.write(bytes("04")), 1u);
    ASSERT_TRUE(line.received(program, 1));
    EXPECT_EQ(hex(program.received), "04");
}

TEST(TunnelSockets, EachDirectionEndsByItself) {
    Line line;
    Peer program = line.connect();
    Peer server = line.acceptAtServer();
    program.write(bytes("01"));
    program.finish();
    ASSERT_TRUE(line.ended(server));
    EXPECT_EQ(hex(server.received), "01");
    EXPECT_EQ(server.error, 0);
    server.write(bytes("02"));
    server.finish();
    ASSERT_TRUE(line.ended(program));
    EXPECT_EQ(hex(program.received), "02");
    EXPECT_EQ(program.error, 0);
    EXPECT_TRUE(line.until([&] { return line.atModule.connections() + line.atHost.connections() == 0; }));
    EXPECT_EQ(line.atModule.counts().finished, 1u);
}

TEST(TunnelSockets, CarryMoreThanAllBuffersHold) {
    Line line;
    const int small = 4096;
    ::setsockopt(line.server.get(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    Peer program = line.connect();
    Peer server = line.acceptAtServer();
    const ByteArray much = patternBytes(12000000); // the kernel holds some, 4 MB at most to the server
    size_t written = 0;
    // The server does not read: it all comes to a stop.
    ASSERT_TRUE(line.until([&] {
        written += program.write(much, written);
        return line.atModule.room(1) == 0 && line.atHost.toSocket(1).size() > 0;
    }));
    testIsAt("the server reads");
    ASSERT_TRUE(line.until([&] {
        written += program.write(much, written);
        server.read();
        return server.received.size() == much.size();
    }));
    EXPECT_EQ(server.received, much);
}

TEST(TunnelSockets, AServerThatBreaksBreaksTheProgramsConnection) {
    Line line;
    Peer program = line.connect();
    Peer server = line.acceptAtServer();
    program.write(bytes("01"));
    ASSERT_TRUE(line.received(server, 1));
    breakOff(server);
    ASSERT_TRUE(line.ended(program));
    EXPECT_EQ(program.error, ECONNRESET);
    EXPECT_TRUE(line.until([&] { return line.atModule.connections() + line.atHost.connections() == 0; }));
}

// It has closed without waiting for the rest: an end at first, and broken when the rest comes.
TEST(TunnelSockets, AServerThatHasGoneBreaksTheProgramsConnectionToo) {
    Line line;
    Peer program = line.connect();
    Peer server = line.acceptAtServer();
    server = Peer();
    const ByteArray more = patternBytes(1000);
    EXPECT_TRUE(line.until([&] {
        program.write(more);
        return program.error == ECONNRESET || program.error == EPIPE;
    }));
    EXPECT_TRUE(line.until([&] { return line.atModule.connections() + line.atHost.connections() == 0; }));
}

// After its end nothing is wanted of the server's socket, so that nobody is told of the break: the next byte meets it.
TEST(TunnelSockets, AServerThatBreaksAfterItsEndBreaksTheProgramsConnectionWithTheNextByte) {
    Line line;
    Peer program = line.connect();
    Peer server = line.acceptAtServer();
    server.finish();
    ASSERT_TRUE(line.ended(program));
    EXPECT_EQ(program.error, 0);
    breakOff(server);
    EXPECT_TRUE(line.until([&] {
        program.write(bytes("01"));
        return program.error == ECONNRESET || program.error == EPIPE;
    }));
    EXPECT_EQ(line.atHost.counts().broken, 1u);
    EXPECT_TRUE(line.until([&] { return line.atModule.connections() + line.atHost.connections() == 0; }));
}

TEST(TunnelSockets, WithoutAServerTheProgramsConnectionBreaks) {
    const Nobody nobody;
    Line line({nobody.address}, false);
    Peer program = line.connect();
    program.write(bytes("01"));
    ASSERT_TRUE(line.ended(program));
    EXPECT_EQ(program.error, ECONNRESET);
    EXPECT_EQ(line.atModule.counts().refused, 1u);
}

TEST(TunnelSockets, TheNextAddressIsTriedWhenOneDoesNotAnswer) {
    TcpAddress ofNoKind;
    ofNoKind.bytes.ss_family = 12345;
    const Nobody nobody;
    Line line({ofNoKind, nobody.address});
    const Peer program = line.connect();
    EXPECT_TRUE(line.acceptAtServer().socket);
}

// Two at a time: the third waits until one of them has ended.
TEST(TunnelSockets, WhoComesWhenTooManyAreThereWaits) {
    Line line;
    Peer first = line.connect();
    Peer firstServer = line.acceptAtServer();
    Peer second = line.connect();
    Peer secondServer = line.acceptAtServer();
    Peer third = line.connect();
    third.write(bytes("03"));
    for (int i = 0; i < 20; ++i) line.turn();
    EXPECT_EQ(line.atModule.connections(), 2u);
    first.finish();
    firstServer.finish();
    ASSERT_TRUE(line.ended(first));
    Peer thirdServer = line.acceptAtServer();
    ASSERT_TRUE(line.received(thirdServer, 1));
}

TEST(TunnelSockets, ClosingBreaksAllAndAcceptsNoMore) {
    Line line;
    Peer program = line.connect();
    Peer server = line.acceptAtServer();
    line.module.close(now());
    ASSERT_TRUE(line.ended(program));
    EXPECT_EQ(program.error, ECONNRESET);
    ASSERT_TRUE(line.ended(server));
    Peer late = line.connect();
    EXPECT_TRUE(line.until([&] {
        late.read();
        return late.error == ECONNREFUSED;
    }));
}

// A program that is neither read from nor written to must not keep the thread awake.
TEST(TunnelSockets, SleepWhileThereIsNothingToDo) {
    Line line;
    Peer program = line.connect();
    Peer server = line.acceptAtServer();
    server.finish();
    ASSERT_TRUE(line.ended(program));
    line.turn();
    std::array<pollfd, 2> descriptors{{{line.module.descriptor(), POLLIN, 0}, {line.host.descriptor(), POLLIN, 0}}};
    EXPECT_EQ(::poll(descriptors.data(), descriptors.size(), 50), 0);
}

TEST(TunnelSockets, WithoutDescriptorsItWaitsForOneToEnd) {
    Line line;
    Peer first = line.connect();
    Peer firstServer = line.acceptAtServer();
    Peer second = line.connect();
    pollfd descriptor{line.module.descriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&descriptor, 1, 20000), 1); // it has come
    // The first time that a sanitizer meets a class, it looks at it through a pipe, and there will be none.
    EXPECT_THROW(throw std::system_error(EMFILE, std::generic_category(), ""), std::system_error);
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const int next = ::dup(0); // the lowest that is free
    ::close(next);
    rlimit none = limit;
    none.rlim_cur = static_cast<rlim_t>(next);
    ::setrlimit(RLIMIT_NOFILE, &none);
    for (int i = 0; i < 5; ++i) line.module.handle(now());
    EXPECT_EQ(line.atModule.connections(), 1u);
    EXPECT_EQ(::poll(&descriptor, 1, 0), 0); // it does not try without end
    EXPECT_THROW(TunnelSockets{line.atHost}, std::system_error);
    EXPECT_THROW(listenAt("127.0.0.1", 0), std::exception);
    EXPECT_FALSE(beginToConnect(TcpAddress{}));
    ::setrlimit(RLIMIT_NOFILE, &limit);
    first.finish();
    firstServer.finish();
    ASSERT_TRUE(line.ended(first));
    EXPECT_TRUE(line.acceptAtServer().socket);
}

// Another socket takes its number, of which the system does not know that it is watched.
TEST(TunnelSockets, WhatListensIsTriedAgainWhereTheSystemCannotWatchIt) {
    Tunnels tunnels(options());
    TunnelSockets sockets(tunnels);
    Socket listening = listenAt("127.0.0.1", 0);
    const int number = listening.get();
    sockets.accept(std::move(listening));
    const Socket other = listenAt("127.0.0.1", 0);
    ASSERT_EQ(::dup2(other.get(), number), number);
    const Time at = now();
    tunnels.open(at);
    sockets.handle(at);
    EXPECT_FALSE(sockets.deadline());
    tunnels.open(at); // as many as there may be: it is not to be watched for now
    sockets.handle(at);
    EXPECT_EQ(sockets.deadline(), at + std::chrono::milliseconds(250));
}

TEST(TunnelSockets, EventsOfConnectionsThatAreGoneAreNobodys) {
    Line line;
    const auto number = line.atModule.open(now()); // without a socket
    line.atModule.breakAll(now());
    line.module.handle(now());
    EXPECT_TRUE(number);
}
