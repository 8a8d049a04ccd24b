// Ending a client in each of its states, over I2C and SPI, in the rig.
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include <hostlinkclient/Client.h>

#include "Ending.h"
#include "rig/RigControl.h"
#include "support/LogCapture.h"
#include "support/MustEnd.h"
#include "support/Signal.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;
using busrig::firstBoard;
using std::chrono::milliseconds;

constexpr milliseconds never = 120s; // a time-out that no end waits for
constexpr int usualRounds = 10;

/// A client, the rig's host, and all that a program has from the client.
struct Program {
    explicit Program(busrig::RigControl& at) : rig(at) {}

    busrig::RigControl& rig;
    Signal entered; // a callback has been called
    Signal endBegins;
    std::atomic<int> inside{0}; // callbacks
    std::unique_ptr<Client> client;
    std::optional<std::future<Result<void>>> asked;
    std::optional<Subscription> subscription;
    std::optional<Listening> listening;

    bool isUp() const { return client->waitUntilUp(patience); }
    bool ask() {
        asked = client->setAsync(STA_PlayerVolume, 3);
        return true;
    }
    bool becomesDown() const {
        mustBecomeTrue([this] { return client->linkState() == LinkState::Down; }, "down");
        return true;
    }
    // What was asked has been ended by the end.
    bool wasTold() { return !asked || (asked->wait_for(patience) == std::future_status::ready && !asked->get()); }
};

bool beginsToOpen(Program&) {
    return true; // the start has seen to it
}
bool isUp(Program& program) {
    return program.isUp();
}
bool isInATransaction(Program& program) {
    if (!program.isUp()) return false;
    program.rig.slaveManual(); // or the answer might be there before the end
    program.rig.hold();
    return program.ask() && program.rig.waitForCount("waiting", 1);
}
bool waitsForAnAnswer(Program& program) {
    if (!program.isUp()) return false;
    program.rig.slaveManual();
    return program.ask() && program.rig.waitForCount("transactions", 1);
}
bool isInACallback(Program& program) {
    program.subscription = program.client->subscribe({STA_PlayerVolume}, [&program](const Change&) {
        ++program.inside;
        program.entered.raise();
        program.endBegins.wait(patience);
        std::this_thread::sleep_for(5ms);
        --program.inside;
    });
    return program.entered.wait(patience);
}
bool isFlooded(Program& program) {
    program.listening = program.client->onInputEvent([&program](const InputEvent&) { program.entered.raise(); });
    if (!program.isUp()) return false;
    program.rig.burst(2000);
    return program.entered.wait(patience);
}
// Lines and slave at once, as when a board is unplugged.
bool losesItsDevice(Program& program) {
    if (!program.isUp()) return false;
    program.rig.fault("bus-nack all ENODEV");
    program.rig.fault("value-vanishes");
    return program.ask();
}
bool hasNoLine(Program& program) {
    return program.becomesDown() && program.ask();
}

/// What is going on when the end comes.
struct State {
    const char* name;
    bool (*enter)(Program& program);
    const char* fault = ""; // from before the start
};

class EndedClient : public EndingSubject {
public:
    EndedClient(bool i2c, const State& ended) : isI2c(i2c), state(ended) {}

    void start() override {
        rig.reset();
        if (*state.fault != '\0') rig.fault(state.fault);
        program.emplace(rig);
        Options options;
        options.deadline = options.answerTime = options.lateFor = options.firstPause = options.longestPause = never;
        options.whileDown = WhileDown::Wait;
        program->client = std::make_unique<Client>(wire(), options);
    }
    bool enter() override { return state.enter(*program); }
    void end(bool withClose) override {
        rig.release(); // a transaction in the kernel cannot be called off: it ends, and what follows it is part of the
                       // end
        program->endBegins.raise();
        if (withClose) program->client->close();
        program->client.reset();
    }
    int observersInside() const override { return program->inside; }
    bool leave() override {
        const bool well = program->wasTold();
        program.reset();
        return well;
    }
    /// What a client leaves that only opens its bus: the bus stays for the rest of the process.
    Remains remainsOfABus() {
        makeAndEnd();
        const Remains before = countRemains();
        makeAndEnd();
        return countRemains() - before;
    }

private:
    Wire wire() const {
        if (isI2c) return I2c{firstBoard.i2cPath, firstBoard.i2cAddress, firstBoard.gpio};
        return Spi{firstBoard.spiPath, 1000000, firstBoard.gpio};
    }
    void makeAndEnd() {
        rig.reset();
        Client client(wire());
        EXPECT_TRUE(client.waitUntilUp(patience));
    }

    const bool isI2c;
    const State state;
    busrig::RigControl rig;
    std::optional<Program> program;
};

class ClientBusEnding : public testing::TestWithParam<std::tuple<bool, State>> {
protected:
    void SetUp() override {
        for (const char* name : {"HostLinkClient", "HostLinkPhysicalLayer", "HostLinkTransportLayer", "SerialComm"})
            log4cplus::Logger::getInstance(name).setLogLevel(log4cplus::OFF_LOG_LEVEL);
    }
};

const auto clientStates = testing::Values(
    State{"Opening", beginsToOpen}, State{"Up", isUp}, State{"InATransaction", isInATransaction},
    State{"WaitingForAnAnswer", waitsForAnAnswer}, State{"InACallback", isInACallback}, State{"Flooded", isFlooded},
    State{"DeviceGone", losesItsDevice}, State{"DownWithoutALine", hasNoLine, "no-value-file"});

INSTANTIATE_TEST_SUITE_P(In, ClientBusEnding, testing::Combine(testing::Bool(), clientStates), [](const auto& tested) {
    return std::string(std::get<0>(tested.param) ? "i2c_" : "spi_") + std::get<1>(tested.param).name;
});

TEST_P(ClientBusEnding, ComesWithinASecondAndLeavesOnlyTheBus) {
    EndedClient client(std::get<0>(GetParam()), std::get<1>(GetParam()));
    const Remains bus = client.remainsOfABus();
    EXPECT_EQ(bus.descriptors, 0);
    endInState(client, std::get<1>(GetParam()).name, bus, usualRounds);
}

} // namespace
