#include "Tunnels.h"

#include <algorithm>

#include <hostlink/HostLinkMessage.h>

namespace hostlink::exchange {

namespace {

constexpr unsigned mostCloses = 3; // a connection that has broken is mentioned so often
constexpr Time closeInterval = std::chrono::milliseconds(500);
constexpr Time firstCheck = std::chrono::milliseconds(500);
constexpr Time longestCheckInterval = std::chrono::seconds(10);
constexpr int checksWithinPatience = 3;              // at least
constexpr int badLineFactor = 8;                     // checks are so much closer there
constexpr Time longMemory = std::chrono::seconds(5); // of what a bad line has done
constexpr Time atOnce{0};                            // a moment that is over
constexpr unsigned mostAnswerTries = 3;              // then the request comes again, if it is still of interest
constexpr unsigned mostComplaints = 3;
constexpr size_t mostStrangers = 32;
constexpr uint32_t positionStep = 0x01000193; // any odd number: positions of two connections are far apart

// What a host answers that has tunnels of another kind: a result and nothing that proves it.
bool isPlainAnswer(const ByteArray& message) {
    const auto items = itemsOf(message);
    return items && items->size() <= 2;
}

} // namespace

Tunnels::Tunnels(const TunnelOptions& tunnelOptions)
    : options(tunnelOptions), nextNumber(tunnelOptions.firstNumber), nextPosition(tunnelOptions.firstPosition) {}

Tunnels::Connection* Tunnels::find(uint16_t number) {
    const auto found = all.find(number);
    return found == all.end() ? nullptr : &found->second;
}

const Tunnels::Connection* Tunnels::find(uint16_t number) const {
    const auto found = all.find(number);
    return found == all.end() ? nullptr : &found->second;
}

// --- sockets

std::optional<uint16_t> Tunnels::open(Time now) {
    if (full()) return std::nullopt;
    while (find(nextNumber) != nullptr) ++nextNumber;
    const uint16_t number = nextNumber++;
    all.try_emplace(number, State::Open, options.pace, nextPosition, true, now);
    nextPosition += positionStep;
    return number;
}

void Tunnels::connected(uint16_t number, Time /*now*/) {
    Connection* connection = find(number);
    if (connection == nullptr || connection->state != State::Connecting) return;
    connection->state = State::Open;
    ++totals.opened;
    owe(number, *connection, TCP_Success);
}

size_t Tunnels::room(uint16_t number) const {
    const Connection* connection = find(number);
    return connection == nullptr || connection->state != State::Open ? 0 : connection->outgoing.room();
}

void Tunnels::fromSocket(uint16_t number, const uint8_t* data, size_t size, Time now) {
    Connection* connection = find(number);
    if (connection != nullptr) connection->outgoing.append(data, size, now);
}

void Tunnels::socketFinished(uint16_t number, Time now) {
    Connection* connection = find(number);
    if (connection != nullptr) connection->outgoing.finish(now);
}

void Tunnels::socketFailed(uint16_t number, Time now) {
    Connection* connection = find(number);
    if (connection == nullptr || connection->state == State::Closing) return;
    if (connection->state == State::Open) {
        ++totals.broken;
        beginClosing(*connection, now);
        return;
    }
    ++totals.refused;
    answerStranger(number, TCP_TranferFailed);
    all.erase(number);
}

const ByteArray& Tunnels::toSocket(uint16_t number) const {
    static const ByteArray nothing;
    const Connection* connection = find(number);
    return connection == nullptr || connection->state != State::Open ? nothing : connection->incoming.waiting();
}

void Tunnels::written(uint16_t number, size_t count) {
    Connection* connection = find(number);
    if (connection == nullptr) return;
    if (connection->incoming.written(count)) owe(number, *connection, TCP_Success);
    shutDownWhenWritten(number, *connection);
    endWhenDone(number);
}

std::optional<TunnelEvent> Tunnels::nextEvent() {
    if (events.empty()) return std::nullopt;
    const TunnelEvent event = events.front();
    events.pop_front();
    return event;
}

void Tunnels::breakAll(Time now) {
    silentUntil.reset(); // there may be no other time to say it
    for (auto& [number, connection] : all) {
        if (connection.state == State::Closing) continue;
        ++totals.broken;
        events.push_back({TunnelEvent::Kind::Break, number});
        beginClosing(connection, now);
    }
}

// --- link: what comes

void Tunnels::receive(const ByteArray& message, Time now) {
    if (HostLinkMessage::messageId(message) == MSG_TcpTunneling) {
        if (const auto request = readTunnelRequest(message))
            takeRequest(*request, now);
        else
            takeDamaged(message, now);
        return;
    }
    if (const auto answer = readTunnelAnswer(message)) {
        complaints = 0;
        takeAnswer(*answer, now);
        return;
    }
    ++totals.damaged;
    if (isPlainAnswer(message))
        unsupported(now);
    else
        suspect(connectionOf(message), now);
}

// What was damaged was most likely the answer that is waited for: nothing is won by waiting longer. The number may have
// suffered too.
void Tunnels::suspect(std::optional<uint16_t> number, Time now) {
    noteTrouble(now);
    Connection* meant = number ? find(*number) : nullptr;
    for (auto& [other, connection] : all)
        if (connection.state == State::Open && (meant == nullptr || meant == &connection))
            connection.outgoing.damaged(now);
}

// From now on the checks that are due later are due as on a bad line.
void Tunnels::noteTrouble(Time now) {
    troubleAt = now;
    for (auto& [number, connection] : all)
        if (connection.checkAt)
            connection.checkAt = std::min(*connection.checkAt, now + checkInterval(connection, now));
}

void Tunnels::heard(Connection& connection, Time now) {
    connection.heardAt = now;
    connection.askedSince.reset();
}

void Tunnels::moved(Connection& connection, Time now) const {
    connection.movedAt = now;
    if (connection.opens) connection.checkAt = now + checkInterval(connection, now);
}

// The longer nothing has moved the rarer, but never so rare that the other end would be given up before: a receiver
// that waits inside a false packet may get into it at any time, also after a check has been answered.
Time Tunnels::checkInterval(const Connection& connection, Time now) const {
    const TunnelPace& pace = options.pace;
    const bool isBad = troubleAt && now - *troubleAt < longMemory;
    const Time still = now - connection.movedAt;
    const Time longest = std::min(longestCheckInterval, pace.patience / checksWithinPatience);
    const Time shortest = isBad ? pace.firstCheckOnABadLine : firstCheck;
    return std::min(std::max(isBad ? still / badLineFactor : still, shortest), longest);
}

// The number may have suffered too; then one that did nothing sends once more than it must.
void Tunnels::takeDamaged(const ByteArray& message, Time now) {
    ++totals.damaged;
    noteTrouble(now);
    const auto number = connectionOf(message);
    if (!number) return;
    Connection* connection = find(*number);
    if (connection == nullptr)
        answerStranger(*number, TCP_InvalidMessage);
    else if (!connection->owed && connection->state == State::Open)
        owe(*number, *connection, TCP_InvalidMessage);
}

void Tunnels::takeRequest(const TunnelRequest& request, Time now) {
    switch (request.command) {
    case TunnelCommand::Open: takeOpen(request, now); return;
    case TunnelCommand::Data:
    case TunnelCommand::Finish: takeData(request, now); return;
    case TunnelCommand::Close:
        answerStranger(request.connection, TCP_Success);
        if (find(request.connection) != nullptr) breakOff(request.connection);
        return;
    }
    answerStranger(request.connection, TCP_InvalidCommand);
}

// One that is there already and begins where this one does is this one: its answer got lost.
void Tunnels::takeOpen(const TunnelRequest& request, Time now) {
    const uint16_t number = request.connection;
    Connection* known = find(number);
    if (known != nullptr && known->firstPosition == request.position) {
        if (known->state == State::Open) owe(number, *known, TCP_Success);
        return;
    }
    if (known != nullptr) breakOff(number);
    if (full()) makeRoom(now);
    if (full()) {
        ++totals.refused;
        answerStranger(number, TCP_TranferFailed);
        return;
    }
    all.try_emplace(number, State::Connecting, options.pace, request.position, false, now);
    events.push_back({TunnelEvent::Kind::Connect, number});
}

// A program at the other end that went without a word has left its connections here. The one heard of longest ago goes,
// when that was long enough ago.
void Tunnels::makeRoom(Time now) {
    const auto oldest = std::min_element(
        all.begin(), all.end(), [](const auto& a, const auto& b) { return a.second.heardAt < b.second.heardAt; });
    if (oldest != all.end() && now - oldest->second.heardAt >= options.pace.patience) breakOff(oldest->first);
}

void Tunnels::takeData(const TunnelRequest& request, Time now) {
    Connection* connection = find(request.connection);
    if (connection == nullptr || connection->state != State::Open) {
        ++totals.stale;
        answerStranger(request.connection, TCP_InvalidConnection);
        return;
    }
    const size_t before = connection->incoming.waiting().size();
    heard(*connection, now);
    connection->incoming.take(request);
    moved(*connection, now);
    totals.bytesReceived += connection->incoming.waiting().size() - before;
    owe(request.connection, *connection, TCP_Success);
    shutDownWhenWritten(request.connection, *connection);
}

void Tunnels::takeAnswer(const TunnelAnswer& answer, Time now) {
    Connection* connection = find(answer.connection);
    if (connection == nullptr || connection->state == State::Connecting) {
        ++totals.stale;
        if (answer.result == TCP_InvalidMessage) suspect(std::nullopt, now);
    } else if (connection->state == State::Closing) {
        // Answers to earlier requests carry a position.
        if (answer.position == 0 && answer.room == 0) all.erase(answer.connection);
    } else if (answer.result == TCP_Success) {
        heard(*connection, now);
        takeSuccess(answer.connection, *connection, answer, now);
    } else if (answer.result == TCP_InvalidMessage) {
        suspect(answer.connection, now);
    } else {
        takeFailure(answer.connection, *connection, answer.result);
    }
}

void Tunnels::takeSuccess(uint16_t number, Connection& connection, const TunnelAnswer& answer, Time now) {
    const bool wasOpen = connection.outgoing.opened();
    const bool wasFinished = connection.outgoing.finished();
    const size_t before = connection.outgoing.held();
    connection.outgoing.acknowledged(answer.position, answer.room, now);
    totals.bytesSent += before - connection.outgoing.held();
    // What it is answered with may never be heard. The answer to a check has nothing new to say.
    const bool opens = !wasOpen && connection.outgoing.opened();
    if (opens || before != connection.outgoing.held() || wasFinished != connection.outgoing.finished())
        moved(connection, now);
    if (opens) ++totals.opened;
    endWhenDone(number);
}

void Tunnels::takeFailure(uint16_t number, Connection& connection, TcpTunnelingResult result) {
    TunnelOutgoing& outgoing = connection.outgoing;
    if (result == TCP_InvalidConnection && outgoing.onlyFinishLeft() && connection.incoming.finished()) {
        outgoing.takeAsFinished(); // it has ended there; the answer to the end of this direction got lost
        endWhenDone(number);
        return;
    }
    breakOff(number);
}

void Tunnels::unsupported(Time /*now*/) {
    if (++complaints < mostComplaints) return;
    complaints = 0;
    for (const uint16_t number : inTurn())
        if (find(number)->state == State::Open && !find(number)->outgoing.opened()) breakOff(number);
}

// --- link: what goes

void Tunnels::owe(uint16_t number, Connection& connection, TcpTunnelingResult result) {
    connection.owed = TunnelAnswer{number, result, connection.incoming.position(), connection.incoming.room()};
    connection.answerTries = 0;
}

void Tunnels::answerStranger(uint16_t number, TcpTunnelingResult result) {
    if (toStrangers.size() < mostStrangers) toStrangers.push_back({number, result, 0, 0});
}

std::optional<ByteArray> Tunnels::nextMessage(Time now) {
    if (inFlight || silentUntil) return std::nullopt;
    auto message = nextAnswer();
    if (!message) message = nextRequest(now);
    inFlight = message.has_value();
    return message;
}

std::optional<ByteArray> Tunnels::nextAnswer() {
    requestUnderWay.reset();
    answerUnderWay.reset();
    if (!toStrangers.empty()) {
        const TunnelAnswer answer = toStrangers.front();
        toStrangers.pop_front();
        return writeTunnelAnswer(answer);
    }
    for (auto& [number, connection] : all) {
        if (!connection.owed) continue;
        answerUnderWay = *connection.owed;
        ++connection.answerTries;
        connection.owed.reset();
        endWhenDone(number);
        return writeTunnelAnswer(*answerUnderWay);
    }
    return std::nullopt;
}

std::optional<ByteArray> Tunnels::nextRequest(Time now) {
    for (const uint16_t number : inTurn()) {
        auto message = requestOf(number, *find(number), now);
        if (!message) continue;
        lastServed = number;
        requestUnderWay = number;
        return message;
    }
    return std::nullopt;
}

// Whoever was served last comes last.
std::deque<uint16_t> Tunnels::inTurn() const {
    std::deque<uint16_t> numbers;
    for (const auto& entry : all) numbers.push_back(entry.first);
    const auto next = std::upper_bound(numbers.begin(), numbers.end(), lastServed);
    std::rotate(numbers.begin(), next, numbers.end());
    return numbers;
}

std::optional<ByteArray> Tunnels::requestOf(uint16_t number, Connection& connection, Time now) {
    if (connection.state == State::Closing) return closeOf(number, connection, now);
    const uint64_t before = connection.outgoing.repeated();
    auto request = connection.outgoing.next(now);
    totals.repeated += connection.outgoing.repeated() - before;
    connection.checking = !request;
    if (!request) return checkOf(number, connection, now);
    request->connection = number;
    return writeTunnelRequest(*request);
}

// Whatever is under way asks as well.
std::optional<ByteArray> Tunnels::checkOf(uint16_t number, Connection& connection, Time now) {
    if (!connection.checkAt || now < *connection.checkAt) return std::nullopt;
    if (connection.outgoing.finished() && connection.incoming.finished()) { // the other end may have forgotten it
        connection.checkAt.reset();
        return std::nullopt;
    }
    connection.checkAt = now + checkInterval(connection, now);
    if (!connection.askedSince) connection.askedSince = now;
    return writeTunnelRequest({number, TunnelCommand::Data, connection.outgoing.firstHeld(), nullptr, 0});
}

std::optional<ByteArray> Tunnels::closeOf(uint16_t number, Connection& connection, Time now) {
    if (now < *connection.closeAt || connection.closings == mostCloses) return std::nullopt;
    ++connection.closings;
    connection.closeAt = now + closeInterval;
    return writeTunnelRequest({number, TunnelCommand::Close, 0, nullptr, 0});
}

void Tunnels::sent(Delivery delivery, Time now) {
    inFlight = false;
    lostInARow = delivery == Delivery::Unknown ? lostInARow + 1 : 0;
    if (lostInARow > 0) {
        noteTrouble(now);
        silentUntil = now + (lostInARow > 1 ? options.pace.quietPause : options.pace.retryPause);
    }
    if (!requestUnderWay) answerSent(delivery);
    if (!requestUnderWay) return;
    Connection* connection = find(*requestUnderWay);
    if (connection == nullptr || connection->state != State::Open) return;
    // Nobody else may be writing, and only writers find out that the link has to be made anew.
    if (connection->checking && delivery == Delivery::Unknown) connection->checkAt = now + options.pace.retryPause;
    if (!connection->checking) connection->outgoing.sent(delivery, now);
}

// One that has got lost goes out again at once, unless a newer one takes its place: whoever waits for it waits longer.
void Tunnels::answerSent(Delivery delivery) {
    if (!answerUnderWay || delivery != Delivery::Unknown) return;
    Connection* connection = find(answerUnderWay->connection);
    if (connection == nullptr || connection->state != State::Open || connection->owed) return;
    if (connection->answerTries < mostAnswerTries) connection->owed = answerUnderWay;
}

void Tunnels::advance(Time now) {
    if (silentUntil && now >= *silentUntil) silentUntil.reset();
    for (const uint16_t number : inTurn()) {
        Connection& connection = *find(number);
        connection.outgoing.advance(now);
        if (connection.state == State::Closing) {
            if (connection.closings == mostCloses && now >= *connection.closeAt) all.erase(number);
        } else if (connection.state == State::Open && isSilentTooLong(connection, now)) {
            ++(connection.outgoing.opened() ? totals.broken : totals.refused);
            events.push_back({TunnelEvent::Kind::Break, number});
            beginClosing(connection, now);
        }
    }
}

bool Tunnels::isSilentTooLong(const Connection& connection, Time now) const {
    return connection.outgoing.silentTooLong(now) ||
           (connection.askedSince && now - *connection.askedSince >= options.pace.patience);
}

bool Tunnels::hasAnswer() const {
    return !toStrangers.empty() ||
           std::any_of(all.begin(), all.end(), [](const auto& entry) { return entry.second.owed.has_value(); });
}

std::optional<Time> Tunnels::deadline() const {
    if (inFlight) return std::nullopt; // whatever is due then waits for `sent()`
    std::optional<Time> due;
    if (hasAnswer()) due = atOnce;
    const auto consider = [&due](std::optional<Time> moment) {
        if (moment && (!due || *moment < *due)) due = moment;
    };
    for (const auto& entry : all) {
        const Connection& connection = entry.second;
        if (connection.state == State::Closing) consider(connection.closeAt);
        if (connection.state == State::Open) consider(connection.outgoing.deadline());
        if (connection.state != State::Open) continue;
        consider(connection.checkAt);
        if (connection.askedSince) consider(*connection.askedSince + options.pace.patience);
    }
    if (silentUntil) due = due ? std::max(*due, *silentUntil) : *silentUntil; // nothing is said before
    return due;
}

// --- ends

void Tunnels::shutDownWhenWritten(uint16_t number, Connection& connection) {
    if (connection.shutDown || !connection.incoming.finished() || !connection.incoming.waiting().empty()) return;
    connection.shutDown = true;
    events.push_back({TunnelEvent::Kind::ShutDown, number});
}

void Tunnels::beginClosing(Connection& connection, Time now) {
    connection.state = State::Closing;
    connection.owed.reset();
    connection.closeAt = now;
}

// The other end knows already, or never will.
void Tunnels::breakOff(uint16_t number) {
    const Connection& connection = *find(number);
    if (connection.state != State::Closing) {
        ++(connection.state == State::Open && connection.outgoing.opened() ? totals.broken : totals.refused);
        events.push_back({TunnelEvent::Kind::Break, number});
    }
    all.erase(number);
}

// The last answer must have gone out before the connection is forgotten.
void Tunnels::endWhenDone(uint16_t number) {
    const Connection& connection = *find(number);
    const bool done =
        connection.state == State::Open && connection.outgoing.finished() && connection.shutDown && !connection.owed;
    if (!done) return;
    ++totals.finished;
    events.push_back({TunnelEvent::Kind::Close, number});
    all.erase(number);
}

} // namespace hostlink::exchange
