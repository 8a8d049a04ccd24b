// Recorded conversations: given the module's part, the host does its part byte for byte and moment for moment. The
// faults of a seed stay what they were.
#include <functional>
#include <map>
#include <sstream>

#include <gtest/gtest.h>

#include <hostsim/HostOnBus.h>
#include <hostsim/HostOnLine.h>

#include "support/Bytes.h"

namespace {

using hostsim::FaultOptions;
using hostsim::SimulatedHost;
using hostsim::Time;
using std::chrono::milliseconds;

struct Conversation {
    const char* name; // of its faults
    const char* text;

    friend std::ostream& operator<<(std::ostream& out, const Conversation& conversation) {
        return out << conversation.name;
    }
};

/// Each line is what the module does ("module HEX": bytes; "after MS": nothing, for so long; "press N": the host's
/// button), what the host writes ("host HEX"), or at the end what it has counted.
const Conversation onALine[] = {
#include "conversations/line.inc"
};

/// "write HEX" and "read COUNT HEX" are transactions, idle bytes at the end of a read left out; "line low" and "line
/// high" is what the interrupt line goes to.
const Conversation onABus[] = {
#include "conversations/bus.inc"
};

const std::map<std::string, std::function<void(FaultOptions&)>> faultSets = {
    {"plain", [](FaultOptions&) {}},
    {"silentEvery", [](FaultOptions& faults) { faults.silentEvery = 3; }},
    {"nackFirst", [](FaultOptions& faults) { faults.nackFirst = 1; }},
    {"late",
     [](FaultOptions& faults) {
         faults.lateEvery = 2;
         faults.lateBy = milliseconds(7);
     }},
    {"burst",
     [](FaultOptions& faults) {
         faults.burst = 2;
         faults.limit = 4;
     }},
    {"garbage",
     [](FaultOptions& faults) {
         faults.garbageEvery = 2;
         faults.garbageBytes = 5;
         faults.seed = 3;
     }},
    {"splitWrites",
     [](FaultOptions& faults) {
         faults.splitWrites = true;
         faults.limit = 3;
     }},
    {"noise",
     [](FaultOptions& faults) {
         faults.toModule = {0.02, 0.02, 0.02, 0.02};
         faults.toHost = {0.01, 0.01, 0.01, 0.01};
         faults.seed = 5;
     }},
    {"lateTransfers",
     [](FaultOptions& faults) {
         faults.lateTransfers = 2;
         faults.limit = 9;
     }},
    {"irqNackFirst", [](FaultOptions& faults) { faults.irqNackFirst = 1; }},
    {"irqAnnounceFirst", [](FaultOptions& faults) { faults.irqAnnounceFirst = 2; }},
    {"all",
     [](FaultOptions& faults) {
         faults.silentEvery = 5;
         faults.ackNackEvery = 7;
         faults.neitherEvery = 11;
         faults.nackFirst = 1;
         faults.lateEvery = 3;
         faults.lateBy = milliseconds(4);
         faults.burst = 1;
         faults.garbageEvery = 3;
         faults.lateTransfers = 1;
         faults.irqNackFirst = 1;
         faults.irqAnnounceFirst = 1;
         faults.limit = 40;
         faults.seed = 9;
     }},
};

hostsim::HostOptions optionsOf(const Conversation& conversation) {
    hostsim::HostOptions options;
    faultSets.at(conversation.name)(options.faults);
    return options;
}

/// Plays the module's part; what has been said then, both parts.
class Play {
public:
    explicit Play(const Conversation& conversation) : host(optionsOf(conversation)) {}
    virtual ~Play() = default;

    std::string play(const std::string& recorded) {
        std::istringstream lines(recorded);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            std::string what;
            std::string rest;
            words >> what;
            std::getline(words >> std::ws, rest);
            if (what == "press") {
                say(line);
                host.send(hostsim::HostApplication::press(static_cast<uint16_t>(std::stoi(rest))));
                look();
            } else if (what == "counts") {
                say("counts " + countsAsJson(host.counts()));
            } else {
                act(line, what, rest);
            }
        }
        return said;
    }

protected:
    virtual void act(const std::string& line, const std::string& what, const std::string& rest) = 0;
    virtual void look() = 0;
    void say(const std::string& line) { said += line + "\n"; }

    SimulatedHost host;
    Time now{0};

private:
    std::string said;
};

class LinePlay : public Play {
public:
    explicit LinePlay(const Conversation& conversation) : Play(conversation), line(host) {}

private:
    void act(const std::string& text, const std::string& what, const std::string& rest) override {
        if (what == "module") {
            say(text);
            line.receive(bytes(rest), now);
            look();
        } else if (what == "after") {
            say(text);
            now += milliseconds(std::stoi(rest));
            line.advance(now);
            look();
        }
    }
    void look() override {
        for (ByteArray written = line.nextWrite(now); !written.empty(); written = line.nextWrite(now))
            say("host " + hex(written));
    }

    hostsim::HostOnLine line;
};

class BusPlay : public Play {
public:
    explicit BusPlay(const Conversation& conversation) : Play(conversation), bus(host) {}

private:
    void act(const std::string& text, const std::string& what, const std::string& rest) override {
        if (what == "write") {
            say(text);
            bus.write(bytes(rest), now);
            look();
        } else if (what == "read") {
            read(std::stoul(rest));
            look();
        } else if (what == "after") {
            pass(std::stoi(rest));
        }
    }
    void read(size_t count) {
        ByteArray content = bus.read(count, now);
        while (!content.empty() && content.back() == hostsim::HostOnBus::idleByte) content.pop_back();
        say("read " + std::to_string(count) + (content.empty() ? "" : " " + hex(content)));
    }
    // The line moves at its own times.
    void pass(int span) {
        int passed = 0;
        const bool before = low;
        for (; passed < span && low == before; ++passed) {
            now += milliseconds(1);
            bus.advance(now);
            low = bus.interruptLow(now);
        }
        say("after " + std::to_string(passed));
        if (low != before) say(low ? "line low" : "line high");
        if (passed < span) pass(span - passed);
    }
    void look() override {
        const bool asks = bus.interruptLow(now);
        if (asks != low) say(asks ? "line low" : "line high");
        low = asks;
    }

    hostsim::HostOnBus bus;
    bool low = false;
};

class RecordedOnALine : public testing::TestWithParam<Conversation> {};
class RecordedOnABus : public testing::TestWithParam<Conversation> {};

std::string nameOf(const testing::TestParamInfo<Conversation>& info) {
    return info.param.name;
}

std::string recordOf(const Conversation& conversation) {
    return std::string(conversation.text).substr(1); // behind the line end that the text begins with
}

} // namespace

TEST_P(RecordedOnALine, TheHostDoesAsItDid) {
    EXPECT_EQ(LinePlay(GetParam()).play(recordOf(GetParam())), recordOf(GetParam()));
}

TEST_P(RecordedOnABus, TheHostDoesAsItDid) {
    EXPECT_EQ(BusPlay(GetParam()).play(recordOf(GetParam())), recordOf(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(HostConversations, RecordedOnALine, testing::ValuesIn(onALine), nameOf);
INSTANTIATE_TEST_SUITE_P(HostConversations, RecordedOnABus, testing::ValuesIn(onABus), nameOf);
