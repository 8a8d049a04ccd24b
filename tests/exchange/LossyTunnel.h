/// @file
/// A tunnelled connection over a line with receivers that go deaf, in virtual time.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>

#include <exchange/Tunnels.h>

#include "support/Bytes.h"

/// Both ends as programs drive them: an end is looked at when something has happened there, and at its deadline, never
/// else. So whoever forgets to say that he has something to do sleeps for good, and `stall` tells.
///
/// What a line does to a message follows from the seed: it is lost, damaged, refused, arrives while its acknowledgement
/// does not, or its length is damaged, so that the receiver waits for the rest of a false packet. The host's gives it
/// up when nothing has come for 100 ms. The module's waits for good: five messages in a row that are not acknowledged
/// have the link made anew.
class LossyTunnel {
public:
    using Time = hostlink::exchange::Time;
    using Delivery = hostlink::exchange::Delivery;
    using Tunnels = hostlink::exchange::Tunnels;

    struct Plan {
        double faultRate = 0; ///< of each message and each acknowledgement
        int faults = 0;       ///< then the line is a good one
        size_t up = 0;        ///< bytes to the host
        size_t down = 0;
        Time connectTime{0};
        Time longestThought{0}; ///< of either program, before each piece that it says
        bool isRefused = false; ///< there is no server
    };

    LossyTunnel(uint64_t seed, const Plan& given);

    /// Until both ends have forgotten the connection, or something is wrong.
    void run();

    /// What was wrong: nobody would ever do anything, or somebody does nothing again and again; empty when all is well.
    const std::string& stall() const { return wrong; }
    /// The longest time in which nothing came forward: no byte arrived, nobody thought, no connection began or ended.
    Time longestStill() const { return stillest; }
    bool isWhole() const { return module.arrived == host.says && host.arrived == module.says; }
    /// What has arrived is the beginning of what was said.
    bool isTrue() const { return isPrefix(module.arrived, host.says) && isPrefix(host.arrived, module.says); }
    const Tunnels& moduleEnd() const { return module.tunnels; }
    const Tunnels& hostEnd() const { return host.tunnels; }

private:
    struct End {
        explicit End(const hostlink::exchange::TunnelOptions& options) : tunnels(options) {}

        Tunnels tunnels;
        ByteArray says;    // what its program will have said
        ByteArray arrived; // at its program
        size_t said = 0;
        size_t mayHaveSaid = 0; // it thinks in between
        bool thinks = false;
        bool hasFinished = false;
        bool isConnected = false; // the program at this end
        bool mayRead = true;
        int turnsNow = 0; // at this moment
    };

    static bool isPrefix(const ByteArray& part, const ByteArray& all) {
        return part.size() <= all.size() && std::equal(part.begin(), part.end(), all.begin());
    }
    bool isModule(const End& end) const { return &end == &module; }
    End& other(const End& end) { return isModule(end) ? host : module; }
    void at(Time when, std::function<void()> what) { events.emplace(when, std::move(what)); }
    Time within(Time longest) {
        return Time(static_cast<Time::rep>(random() % static_cast<uint64_t>(longest.count() + 1)));
    }
    bool fails();
    void forward();

    void turn(End& end);
    void handleSockets(End& end);
    void handleEvent(End& end, const hostlink::exchange::TunnelEvent& event);
    void think(End& end);
    void speak(End& end);
    void read(End& end);

    void carry(End& from, const ByteArray& message);
    void carryToHost(const ByteArray& message);
    void carryToModule(const ByteArray& message);
    void deliver(End& to, ByteArray message, bool isDamaged);
    void sentLater(End& from, Delivery delivery, Time after);
    void bytesReachHost();
    void moduleUnanswered();

    std::mt19937_64 random;
    const Plan plan;
    int faultsLeft;
    const Time began = std::chrono::seconds(10);
    Time now = began;
    Time movedAt = began;
    Time stillest{0};
    std::string wrong;
    std::multimap<Time, std::function<void()>> events;

    End module;
    End host;
    uint16_t number = 0;
    bool isModuleDeaf = false;
    int unanswered = 0;
    bool isLinkDown = false;
    std::optional<Time> hostHearsAt; // it waits inside a false packet until then
};
