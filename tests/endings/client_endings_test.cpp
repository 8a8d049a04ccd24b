// Ending a client in each of its states, over a pseudo terminal with the simulated host behind it.
#include <array>
#include <atomic>
#include <cerrno>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <exchange/ChunkMessages.h>
#include <hostlinkclient/Client.h>
#include <sockets/Socket.h>

#include "Ending.h"
#include "hostlinkclient/EchoTunnels.h"
#include "hostlinkclient/TerminalHost.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/MustEnd.h"
#include "support/Signal.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr milliseconds never = 120s; // a time-out that no end waits for
constexpr int usualRounds = 10;

// A connection of a program of this machine.
class Connection {
public:
    explicit Connection(uint16_t port) : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const exchange::TcpAddress to = exchange::addressesOf("127.0.0.1", port).front();
        connected = ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&to.bytes), to.size) == 0;
    }
    bool write(const ByteArray& data) const {
        return connected && ::send(socket.get(), data.data(), data.size(), MSG_NOSIGNAL | MSG_DONTWAIT) > 0;
    }
    /// Whether a byte comes.
    bool read() const {
        uint8_t byte = 0;
        return ::recv(socket.get(), &byte, 1, 0) == 1;
    }
    /// Whether it breaks, in place of ending in order.
    bool isBroken() const {
        std::array<uint8_t, 4096> buffer{};
        ssize_t count = 1;
        while (count > 0) count = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
        return count < 0 && errno == ECONNRESET;
    }

private:
    const exchange::Socket socket;
    bool connected = false;
};

/// A client, its host, and all that a program has from the client.
struct Program {
    struct Asked {
        std::future<Result<void>> result;
        bool mayHaveBeenExecuted;
    };

    Signal entered; // a callback has been called
    Signal endBegins;
    std::atomic<int> inside{0};                  // callbacks
    std::atomic<MessageId> deafFor{MSG_Invalid}; // what the host does not answer
    EchoTunnels tunnels;
    std::unique_ptr<TerminalHost> host;
    std::unique_ptr<Client> client;
    std::vector<Asked> asked;
    std::optional<Events> loop;
    std::optional<Subscription> subscription;
    std::optional<Listening> listening;
    std::optional<Sending> sending;
    std::optional<Receiving> receiving;
    std::optional<Tunnel> tunnel;
    std::optional<Connection> connection;

    bool isUp() const { return client->waitUntilUp(patience); }
    /// Up, and none of the questions is under way any more that it asks to come up: more than one on a busy machine.
    bool isUpAndQuiet() const { return isUp() && client->set(STA_PlayerMute, 1); }
    bool becomesDown() const {
        mustBecomeTrue([this] { return client->linkState() == LinkState::Down; }, "down");
        return true;
    }
    /// A set that the end cancels.
    bool ask(bool mayHaveBeenExecuted, const Call& call = {}) {
        asked.push_back({client->setAsync(STA_PlayerVolume, 3, call), mayHaveBeenExecuted});
        return true;
    }
    /// The program's own function, which goes on until the end has begun and a little longer.
    void beCalled() {
        ++inside;
        entered.raise();
        endBegins.wait(patience);
        std::this_thread::sleep_for(5ms);
        --inside;
    }
    bool isCalledUntilTheEnd() {
        subscription = client->subscribe({STA_PlayerVolume}, [this](const Change&) { beCalled(); });
        return entered.wait(patience);
    }
    /// Nothing that was not to be executed has been.
    bool wasToldTheTruth() {
        bool well = !connection || connection->isBroken();
        for (Asked& one : asked) {
            if (one.result.wait_for(patience) != std::future_status::ready) return false;
            const Result<void> result = one.result.get();
            well = well && result.outcome() == Outcome::Cancelled &&
                   result.mayHaveBeenExecuted() == one.mayHaveBeenExecuted;
        }
        return well;
    }
};

bool staysUp(Program& program) {
    return program.isUp();
}
bool beginsToOpen(Program&) {
    return true; // `start` has seen to it
}
bool asksItsFirstQuestion(Program& program) {
    return program.ask(false) && program.host->isLeftWaiting();
}
bool writesARequest(Program& program) {
    if (!program.isUpAndQuiet()) return false;
    program.host->hang(true);
    return program.ask(true) && program.host->isLeftWaiting();
}
bool waitsForAnAnswer(Program& program) {
    program.deafFor = MSG_SetState;
    return program.isUp() && program.ask(true) && program.host->hears(MSG_SetState);
}
// The second of two sets of a state waits for the answer to the first.
bool waitsForTheQuietWindow(Program& program) {
    program.deafFor = MSG_SetState;
    if (!program.isUp()) return false;
    Cancellation cancellation;
    auto first = program.client->setAsync(STA_PlayerVolume, 1, Call().cancelledBy(cancellation));
    if (!program.host->hears(MSG_SetState)) return false;
    cancellation.cancel();
    return first.get().mayHaveBeenExecuted() && program.ask(false);
}
bool readsBackWhatItHasSet(Program& program) {
    if (!program.isUpAndQuiet()) return false;
    program.deafFor = MSG_GetState;
    const int before = program.host->heardSoFar(MSG_GetState); // to come up
    return program.ask(true, Confirm) && program.host->hears(MSG_GetState, before + 1);
}
bool subscribes(Program& program) {
    if (!program.isUp()) return false;
    program.deafFor = MSG_SubscribeState;
    program.subscription = program.client->subscribe({STA_PlayerVolume}, [](const Change&) {});
    return program.host->hears(MSG_SubscribeState);
}
bool cannotOpen(Program& program) {
    return program.becomesDown() && program.ask(false);
}
bool losesItsDevice(Program& program) {
    if (!program.isUp()) return false;
    program.host->end();
    return program.becomesDown() && program.ask(false);
}
bool isInACallback(Program& program) {
    return program.isUp() && program.isCalledUntilTheEnd();
}
// An answer that the callback waits for: the end has to come before the callback returns.
bool asksInACallback(Program& program) {
    program.deafFor = MSG_SetState;
    program.subscription = program.client->subscribe({STA_PlayerVolume}, [&program](const Change&) {
        ++program.inside;
        std::promise<Result<void>> result;
        program.asked.push_back({result.get_future(), true});
        program.entered.raise();
        result.set_value(program.client->set(STA_PlayerVolume, 3));
        --program.inside;
    });
    return program.entered.wait(patience) && program.host->hears(MSG_SetState);
}
bool isFlooded(Program& program) {
    program.listening = program.client->onInputEvent([&program](const InputEvent&) { program.entered.raise(); });
    if (!program.isUp()) return false;
    for (const ByteArray& event : hostsim::HostApplication::burst(2000)) program.host->say(event);
    return program.entered.wait(patience);
}
bool waitsInALoop(Program& program) {
    program.subscription = program.client->subscribe({STA_PlayerVolume}, [](const Change&) {});
    pollfd readable{program.loop->descriptor(), POLLIN, 0};
    return program.subscription->established(patience) && ::poll(&readable, 1, 20000) == 1;
}
bool sendsAFile(Program& program) {
    program.deafFor = MSG_DataTransfer;
    if (!program.isUp()) return false;
    const auto begun = program.client->beginSending(std::make_shared<std::istringstream>(std::string(9000, 'x')),
                                                    SendOptions{"x", 0, never, never, 3, {}});
    if (begun) program.sending = *begun;
    return begun && program.host->hears(MSG_DataTransfer);
}
bool receivesAFile(Program& program) {
    if (!program.isUp()) return false;
    ReceiveOptions options;
    options.patience = never;
    options.write = [&program](const unsigned char*, size_t) {
        program.entered.raise();
        return true;
    };
    const auto begun = program.client->receiveFiles(options);
    if (!begun) return false;
    program.receiving = *begun;
    const ByteArray data(8);
    exchange::Chunk chunk;
    chunk.name = "from the host";
    chunk.sequence = exchange::SequenceNumber{ENC_Uint32, 0};
    chunk.data = data.data();
    chunk.size = data.size();
    program.host->say(exchange::writeChunk(chunk));
    return program.entered.wait(patience);
}
bool listens(Program& program) {
    if (!program.isUp()) return false;
    const Result<Tunnel> made = program.client->tunnel();
    if (made) program.tunnel = *made;
    return bool(made);
}
bool carriesBytes(Program& program) {
    if (!listens(program)) return false;
    program.connection.emplace(program.tunnel->port());
    return program.connection->write(ByteArray(100000)) && program.connection->read();
}
bool carriesBytesToNobody(Program& program) {
    program.deafFor = MSG_TcpTunneling;
    if (!listens(program)) return false;
    program.connection.emplace(program.tunnel->port());
    return program.connection->write(ByteArray(10000)) && program.host->hears(MSG_TcpTunneling);
}
bool carriesBytesToAHostThatHangs(Program& program) {
    if (!listens(program)) return false;
    program.connection.emplace(program.tunnel->port());
    if (!program.connection->write(ByteArray(100)) || !program.connection->read()) return false;
    program.host->hang(true);
    return program.connection->write(ByteArray(100)) && program.host->isLeftWaiting();
}

/// What is going on when the end comes.
struct State {
    enum Way { Usual, Deaf, Silent, Nowhere, InLoop };

    const char* name;
    bool (*enter)(Program& program);
    Way way = Usual;
};
void PrintTo(const State& state, std::ostream* out) {
    *out << state.name;
}

const auto clientStates = testing::Values(
    State{"Opening", beginsToOpen}, State{"FirstQuestion", asksItsFirstQuestion, State::Deaf}, State{"Up", staysUp},
    State{"WritingARequest", writesARequest}, State{"WaitingForAnAnswer", waitsForAnAnswer},
    State{"WaitingForTheQuietWindow", waitsForTheQuietWindow}, State{"ReadingBack", readsBackWhatItHasSet},
    State{"Subscribing", subscribes}, State{"DownWithoutADevice", cannotOpen, State::Nowhere},
    State{"DownWithASilentHost", cannotOpen, State::Silent}, State{"DeviceGone", losesItsDevice},
    State{"InACallback", isInACallback}, State{"AskingInACallback", asksInACallback}, State{"Flooded", isFlooded},
    State{"InALoopThatStands", waitsInALoop, State::InLoop}, State{"SendingAFile", sendsAFile},
    State{"ReceivingAFile", receivesAFile}, State{"TunnelWithoutConnections", listens},
    State{"TunnelUnderWay", carriesBytes}, State{"TunnelWithoutAnswers", carriesBytesToNobody},
    State{"TunnelToAHostThatHangs", carriesBytesToAHostThatHangs});

class EndedClient : public EndingSubject {
public:
    explicit EndedClient(const State& ended) : state(ended) {}

    void start() override {
        program.emplace();
        program->host = std::make_unique<TerminalHost>([this](const ByteArray& message) { return take(message); });
        if (state.way == State::Deaf || state.way == State::Silent) program->host->hang(true);
        Options options;
        options.deadline = options.lateFor = options.firstPause = options.longestPause = never;
        options.answerTime = state.way == State::Silent ? 20ms : never;
        options.whileDown = WhileDown::Wait;
        if (state.way == State::InLoop) options.events = program->loop.emplace();
        const std::string device = state.way == State::Nowhere ? "/nowhere/at/all" : program->host->path();
        program->client =
            std::make_unique<Client>(Uart{device, 115200, state.way == State::Silent ? 5ms : never}, options);
    }
    bool enter() override { return state.enter(*program); }
    void end(bool withClose) override {
        program->endBegins.raise();
        if (withClose) program->client->close();
        program->client.reset();
    }
    int observersInside() const override { return program->inside; }
    bool leave() override {
        const bool well = program->wasToldTheTruth();
        program.reset();
        return well;
    }

private:
    std::optional<std::vector<ByteArray>> take(const ByteArray& message) {
        if (HostLinkMessage::messageId(message) == program->deafFor) return std::vector<ByteArray>();
        return program->tunnels.take(message);
    }

    const State state;
    std::optional<Program> program;
};

class ClientEnding : public testing::TestWithParam<State> {
protected:
    void SetUp() override {
        for (const char* name : {"HostLinkClient", "HostLinkPhysicalLayer", "HostLinkTransportLayer", "SerialComm"})
            log4cplus::Logger::getInstance(name).setLogLevel(log4cplus::OFF_LOG_LEVEL);
    }
};

INSTANTIATE_TEST_SUITE_P(In, ClientEnding, clientStates, [](const auto& tested) { return tested.param.name; });

TEST_P(ClientEnding, ComesWithinASecondAndLeavesNothing) {
    EndedClient client(GetParam());
    endInState(client, GetParam().name, {0, 0}, usualRounds);
}

} // namespace
