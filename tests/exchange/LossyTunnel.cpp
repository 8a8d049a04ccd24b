#include "LossyTunnel.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

using namespace hostlink::exchange;

constexpr Time onTheWay = milliseconds(1);
constexpr Time responseTimeout = milliseconds(30);
constexpr Time refusals = milliseconds(40); // four attempts
constexpr Time packetTimeout = milliseconds(100);
constexpr Time newLink = milliseconds(200);
constexpr Time longest = seconds(2000); // that a run may take
constexpr int unansweredWrites = 5;
constexpr int mostTurnsAtOnce = 1000;

TunnelOptions options() {
    TunnelOptions given;
    given.pace.smallestChunk = 16;
    given.pace.largestChunk = 128;
    given.pace.buffer = 256;
    return given;
}

} // namespace

LossyTunnel::LossyTunnel(uint64_t seed, const Plan& given)
    : random(seed), plan(given), faultsLeft(given.faults), module(options()), host(options()) {
    module.says = patternBytes(plan.up);
    host.says = patternBytes(plan.down);
}

bool LossyTunnel::fails() {
    if (faultsLeft == 0 || std::uniform_real_distribution<>(0, 1)(random) >= plan.faultRate) return false;
    --faultsLeft;
    return true;
}

void LossyTunnel::forward() {
    stillest = std::max(stillest, now - movedAt);
    movedAt = now;
}

void LossyTunnel::run() {
    number = *module.tunnels.open(now);
    module.isConnected = true;
    think(module);
    turn(module);
    while (module.tunnels.connections() + host.tunnels.connections() > 0 && wrong.empty()) {
        std::optional<Time> next;
        if (!events.empty()) next = events.begin()->first;
        for (const End* end : {&module, &host})
            if (const auto due = end->tunnels.deadline()) next = std::min(next.value_or(*due), *due);
        // The host's end may be left over, when all that it was told got lost: it keeps that until it needs the room.
        if (!next && module.tunnels.connections() > 0) wrong = "nobody will ever do anything";
        if (!next || now - began > longest) return;
        if (*next > now) module.turnsNow = host.turnsNow = 0;
        now = std::max(now, *next);
        for (End* end : {&module, &host}) {
            const auto due = end->tunnels.deadline();
            if (due && *due <= now) turn(*end);
        }
        while (!events.empty() && events.begin()->first <= now) {
            const auto event = events.extract(events.begin());
            event.mapped()();
        }
    }
    forward();
}

// As the client's pump and the simulator's loop do.
void LossyTunnel::turn(End& end) {
    if (++end.turnsNow > mostTurnsAtOnce) wrong = isModule(end) ? "the module spins" : "the host spins";
    end.tunnels.advance(now);
    handleSockets(end);
    if (const auto message = end.tunnels.nextMessage(now)) carry(end, *message);
    handleSockets(end);
}

void LossyTunnel::handleSockets(End& end) {
    while (const auto event = end.tunnels.nextEvent()) handleEvent(end, *event);
    if (!end.isConnected) return;
    speak(end);
    read(end);
}

void LossyTunnel::handleEvent(End& end, const TunnelEvent& event) {
    forward();
    if (event.kind == TunnelEvent::Kind::ShutDown) return;
    end.isConnected = false;
    if (event.kind != TunnelEvent::Kind::Connect) return;
    end.said = end.mayHaveSaid = 0; // another connection, where one was lost before its beginning had been answered
    end.arrived.clear();
    end.hasFinished = false;
    at(now + plan.connectTime, [this, &end] {
        forward();
        if (plan.isRefused) {
            end.tunnels.socketFailed(number, now);
        } else {
            end.isConnected = true;
            end.tunnels.connected(number, now);
            think(end);
        }
        turn(end);
    });
}

// Before the next piece, and before the end.
void LossyTunnel::think(End& end) {
    if (end.thinks || end.hasFinished) return;
    end.thinks = true;
    at(now + within(plan.longestThought), [this, &end] {
        forward();
        end.thinks = false;
        end.mayHaveSaid = std::min(end.says.size(), end.mayHaveSaid + 1 + random() % 1000);
        if (end.says.empty() || end.said == end.says.size()) {
            end.hasFinished = true;
            end.tunnels.socketFinished(number, now);
        }
        turn(end);
    });
}

// As much as there is room for.
void LossyTunnel::speak(End& end) {
    const size_t count = std::min(end.tunnels.room(number), end.mayHaveSaid - end.said);
    if (count == 0) return;
    end.tunnels.fromSocket(number, end.says.data() + end.said, count, now);
    end.said += count;
    if (end.said == end.mayHaveSaid) think(end);
}

// Now and then the program takes a while before it reads on.
void LossyTunnel::read(End& end) {
    const ByteArray& there = end.tunnels.toSocket(number);
    if (there.empty() || !end.mayRead) return;
    const size_t count = 1 + random() % there.size();
    end.arrived.insert(end.arrived.end(), there.begin(), there.begin() + static_cast<std::ptrdiff_t>(count));
    forward();
    end.mayRead = false;
    end.tunnels.written(number, count);
    at(now + within(milliseconds(5)), [this, &end] {
        end.mayRead = true;
        turn(end);
    });
}

void LossyTunnel::carry(End& from, const ByteArray& message) {
    if (isModule(from))
        carryToHost(message);
    else
        carryToModule(message);
}

void LossyTunnel::sentLater(End& from, Delivery delivery, Time after) {
    at(now + after, [this, &from, delivery] {
        if (isModule(from)) {
            unanswered = delivery == Delivery::Unknown ? unanswered + 1 : 0;
            if (unanswered == unansweredWrites) moduleUnanswered();
        }
        from.tunnels.sent(delivery, now);
        turn(from);
    });
}

void LossyTunnel::moduleUnanswered() {
    unanswered = 0;
    isLinkDown = true;
    at(now + newLink, [this] {
        isLinkDown = false;
        isModuleDeaf = false;
    });
}

void LossyTunnel::deliver(End& to, ByteArray message, bool isDamaged) {
    if (isDamaged) message[random() % message.size()] ^= static_cast<uint8_t>(1 + random() % 255);
    at(now + onTheWay, [this, &to, message] {
        to.tunnels.receive(message, now);
        turn(to);
    });
}

// Whatever comes while it waits inside a false packet keeps it waiting.
void LossyTunnel::bytesReachHost() {
    if (hostHearsAt && *hostHearsAt <= now) hostHearsAt.reset();
    if (hostHearsAt) hostHearsAt = now + packetTimeout;
}

void LossyTunnel::carryToHost(const ByteArray& message) {
    if (isLinkDown) {
        at(now, [this] { // nothing was written that could be called unanswered
            module.tunnels.sent(Delivery::Unknown, now);
            turn(module);
        });
        return;
    }
    bytesReachHost();
    const uint64_t fate = fails() ? random() % 5 : 99;
    if (fate == 0 && !hostHearsAt) hostHearsAt = now + packetTimeout; // its length is another
    const bool isHeard = !hostHearsAt && fate > 1;
    if (fate == 2 && isHeard) {
        sentLater(module, Delivery::Refused, refusals);
        return;
    }
    if (isHeard) deliver(host, message, fate == 3);
    // The acknowledgement goes the other way, with everything that can happen there.
    const bool isAcknowledgementHit = isHeard && fate != 3 && fails();
    if (isAcknowledgementHit && random() % 2 == 0) isModuleDeaf = true;
    const bool isAcknowledged = isHeard && !isModuleDeaf && !isAcknowledgementHit;
    sentLater(module, isAcknowledged ? Delivery::Accepted : Delivery::Unknown,
              isAcknowledged ? onTheWay : responseTimeout);
}

void LossyTunnel::carryToModule(const ByteArray& message) {
    const uint64_t fate = fails() ? random() % 5 : 99;
    if (fate == 0) isModuleDeaf = true;
    const bool isHeard = !isModuleDeaf && !isLinkDown && fate > 1;
    if (fate == 2 && isHeard) { // the simulator says no more of it
        sentLater(host, Delivery::Unknown, refusals);
        return;
    }
    if (isHeard) {
        bytesReachHost(); // the acknowledgement
        deliver(module, message, fate == 3);
    }
    const bool isAcknowledged = isHeard && !hostHearsAt && (fate == 3 || !fails());
    sentLater(host, isAcknowledged ? Delivery::Accepted : Delivery::Unknown,
              isAcknowledged ? onTheWay : responseTimeout);
}
