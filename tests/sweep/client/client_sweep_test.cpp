// A client from its beginning to its end over a pseudo terminal, while each of its system calls fails: what it tells is
// true, what failed works when it is tried again, and nothing is left.
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <sys/socket.h>

#include <gtest/gtest.h>

#include <hostlinkclient/Client.h>
#include <hostsim/StateText.h>
#include <sockets/Socket.h>

#include "hostlinkclient/EchoTunnels.h"
#include "hostlinkclient/TerminalHost.h"
#include "support/Signal.h"
#include "sweep/PlayedTerminal.h"
#include "sweep/Sweep.h"

using namespace sweep;
using namespace std::chrono_literals;
using hostlink::Call;
using hostlink::Outcome;

namespace {

constexpr std::chrono::milliseconds patience = 20s;

// A connection of a program of this machine, whose server gives back what it gets.
class Echoed {
public:
    explicit Echoed(uint16_t port) : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const auto to = hostlink::exchange::addressesOf("127.0.0.1", port).front();
        connected = ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&to.bytes), to.size) == 0;
    }
    // False when it breaks. What comes back is what was sent, or the beginning of it.
    bool comeBack(const std::string& sent) const {
        if (!connected || ::send(socket.get(), sent.data(), sent.size(), MSG_NOSIGNAL) < 0) return false;
        ::shutdown(socket.get(), SHUT_WR);
        std::string got;
        std::array<char, 4096> buffer{};
        ssize_t count = 1;
        while ((count = ::recv(socket.get(), buffer.data(), buffer.size(), 0)) > 0)
            got.append(buffer.data(), static_cast<std::size_t>(count));
        EXPECT_EQ(got, sent.substr(0, got.size()));
        EXPECT_TRUE(count < 0 || got.size() == sent.size()) << "ended in order after " << got.size() << " bytes";
        return count == 0 && got.size() == sent.size();
    }

private:
    const hostlink::exchange::Socket socket;
    bool connected = false;
};

// Begun, asked for each thing that it does, ended.
class ClientInUse : public Scenario {
public:
    ClientInUse() { playKernel(&terminal); }
    ~ClientInUse() override {
        end();
        playKernel(nullptr);
    }

    std::vector<Step> steps() override {
        return {{"begin", [this] { return begin(); }},
                {"get", [this] { return get(); }},
                {"set", [this] { return set(); }},
                {"subscribe", [this] { return subscribe(); }},
                {"send a file", [this] { return sendFile(); }},
                {"receive files", [this] { return receiveFiles(); }},
                {"tunnel", [this] { return openTunnel(); }},
                {"connect", [this] { return connect(); }},
                {"end", [this] { return end(); }}};
    }
    Effect effectOf(const sweep::Call&, const Failure&) const override { return Effect::LosesEvents; }
    bool isRepeatable() const override { return false; }
    void recover() override {
        if (!client) return;
        // A link that hears no more is found out by who asks, on a busy machine more often than one request does.
        const auto deadline = std::chrono::steady_clock::now() + patience;
        auto answered = client->get(STA_PlayerVolume, hostlink::Call().within(patience));
        while (!answered && std::chrono::steady_clock::now() < deadline)
            answered = client->get(STA_PlayerVolume, hostlink::Call().within(patience));
        EXPECT_TRUE(answered) << answered.text();
    }

private:
    static hostlink::Options options() {
        hostlink::Options given;
        given.deadline = 10s;
        given.answerTime = 100ms;
        given.lateFor = 100ms;
        given.firstPause = given.longestPause = 5ms;
        given.unansweredWrites = 2;
        given.whileDown = hostlink::WhileDown::Wait;
        return given;
    }

    // Calls the client, which may find no descriptor and no thread where it says so.
    template <typename Function> static auto under(Function function) {
        const UnderTest now;
        return function();
    }

    bool begin() {
        try {
            under([this] {
                client = std::make_unique<hostlink::Client>(hostlink::Uart{host.path(), 115200, 40ms}, options());
            });
        } catch (const std::system_error& problem) {
            EXPECT_NE(problem.code().value(), 0);
            return false;
        }
        EXPECT_TRUE(client->waitUntilUp(patience)) << client->linkText();
        return client->linkState() == hostlink::LinkState::Up;
    }

    bool get() {
        const auto got = under([this] { return client->get(STA_PlayerVolume); });
        EXPECT_TRUE(!got || got->to<int>().valueOr(-1) == volume);
        expectReason(got);
        return bool(got);
    }

    // Done: the host holds it. Not executed: it does not.
    bool set() {
        const int wanted = volume + 1;
        const auto done = under([&] { return client->set(STA_PlayerVolume, wanted); });
        const std::string held = host.holds(STA_PlayerVolume).print();
        EXPECT_TRUE(!done || held == std::to_string(wanted)) << held;
        EXPECT_TRUE(done || done.mayHaveBeenExecuted() || held == std::to_string(volume))
            << held << ": " << done.text();
        expectReason(done);
        if (held == std::to_string(wanted)) volume = wanted;
        return bool(done);
    }

    bool subscribe() {
        told.lower();
        try {
            subscription = under([this] {
                return client->subscribe({STA_PlayerVolume}, [this](const hostlink::Change& change) {
                    if (change.value.to<int>().valueOr(-1) == volume) told.raise();
                });
            });
        } catch (const std::system_error& problem) {
            EXPECT_EQ(problem.code().value(), EAGAIN);
            return false;
        }
        const auto established = subscription.established(patience);
        return established && told.wait(patience);
    }

    bool sendFile() {
        const std::string content(300, 'x');
        auto sending = under([&] {
            return client->beginSending(std::make_shared<std::istringstream>(content),
                                        hostlink::SendOptions{"x", 0, 100ms, 10s, 3, {}});
        });
        expectReason(sending);
        if (!sending) return false;
        const auto sent = sending->wait();
        EXPECT_TRUE(!sent || sent->bytes == content.size());
        expectReason(sent);
        return bool(sent);
    }

    bool receiveFiles() {
        hostlink::ReceiveOptions taking;
        taking.write = [](const unsigned char*, std::size_t) { return true; };
        const auto begun = under([&] { return client->receiveFiles(taking); });
        expectReason(begun);
        if (begun) receiving = *begun;
        return bool(begun);
    }

    bool openTunnel() {
        const auto opened = under([this] { return client->tunnel(); });
        expectReason(opened);
        if (!opened) return false;
        tunnel = *opened;
        EXPECT_NE(tunnel->port(), 0);
        return true;
    }

    bool connect() { return Echoed(tunnel->port()).comeBack(std::string(300, 'y')); }

    bool end() {
        const UnderTest now;
        tunnel.reset();
        receiving = hostlink::Receiving();
        client.reset();
        subscription = hostlink::Subscription();
        return true;
    }

    template <typename T> static void expectReason(const hostlink::Result<T>& result) {
        EXPECT_EQ(result.text().empty(), bool(result));
        const bool isTaken = result.text().find("Address already in use") != std::string::npos;
        EXPECT_EQ(result.outcome() == Outcome::BadArgument, isTaken) << result.text();
    }

    EchoTunnels echo;
    TerminalHost host{[this](const ByteArray& message) { return echo.take(message); }, [this] { return echo.speak(); }};
    PlayedTerminal terminal;
    std::unique_ptr<hostlink::Client> client;
    hostlink::Subscription subscription;
    hostlink::Receiving receiving;
    std::optional<hostlink::Tunnel> tunnel;
    Signal told;
    std::atomic<int> volume{30};
};

std::unique_ptr<Scenario> clientInUse() {
    return std::make_unique<ClientInUse>();
}

// A call, and how it fails here: in a way that its caller cannot pass over, and where there is one, in one that it can.
struct Swept {
    const char* call;
    std::vector<Failure> failures;
};
void PrintTo(const Swept& swept, std::ostream* out) {
    *out << swept.call;
}

Failure error(int value) {
    return {Failure::Kind::Error, value};
}

const std::vector<Swept> swept = {
    {"accept4", {error(ECONNABORTED), error(EMFILE)}},
    {"bind", {error(EADDRINUSE)}},
    {"close", {error(EIO)}},
    {"epoll_create1", {error(EMFILE)}},
    {"epoll_ctl", {error(ENOMEM)}},
    {"epoll_wait", {error(EINTR)}},
    {"eventfd", {error(EMFILE)}},
    {"flock", {error(EINTR)}},
    {"getsockname", {error(ENOBUFS)}},
    {"ioctl", {error(EIO)}},
    {"listen", {error(EADDRINUSE)}},
    {"open", {error(EMFILE)}},
    {"poll", {error(EINTR), error(ENOMEM)}},
    {"ppoll", {error(EINTR), {Failure::Kind::Condition, POLLNVAL}}},
    {"pthread_create", {error(EAGAIN)}},
    {"read", {error(EIO), error(EINTR)}},
    {"recv", {error(ENOMEM), error(EINTR), {Failure::Kind::Half, 0}}},
    {"send", {error(ENOMEM), error(EINTR), {Failure::Kind::Half, 0}}},
    {"socket", {error(EMFILE)}},
    {"tcflush", {error(EIO)}},
    {"write", {error(EIO), error(EINTR), {Failure::Kind::Half, 0}}},
};

class ClientSweep : public testing::TestWithParam<Swept> {};

TEST_P(ClientSweep, OfAClient) {
    sweepOver(GetParam().call, clientInUse, GetParam().failures);
}

INSTANTIATE_TEST_SUITE_P(Calls, ClientSweep, testing::ValuesIn(swept),
                         [](const auto& tested) { return std::string(tested.param.call); });

TEST(ClientCalls, AreAllSwept) {
    std::vector<std::string> calls;
    for (const Swept& one : swept) calls.emplace_back(one.call);
    expectCallsOf(clientInUse, calls);
}

} // namespace
